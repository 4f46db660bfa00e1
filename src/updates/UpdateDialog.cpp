#include "UpdateDialog.h"

#include <QAbstractButton>
#include <QDesktopServices>
#include <QHash>
#include <QMessageBox>
#include <QPushButton>

using namespace Qt::Literals::StringLiterals;

namespace corvane {

namespace {

QString versionOrUnknown(const QString &version)
{
    return version.isEmpty() ? u"an unknown version"_s : version;
}

} // namespace

void UpdateDialog::present(const UpdateCheckResult &result, QWidget *parent)
{
    QMessageBox box(parent);
    box.setWindowTitle(u"Software Update"_s);
    box.setWindowModality(Qt::ApplicationModal);
    QHash<QAbstractButton *, QUrl> links;

    switch (result.kind) {
    case UpdateCheckResult::Kind::updateAvailable: {
        box.setIcon(QMessageBox::Information);
        box.setText(u"A new version of Corvane is available!"_s);
        box.setInformativeText(u"Corvane %1 is now available—you have %2."_s.arg(
            result.latestVersion, versionOrUnknown(result.currentVersion)));
        if (!result.downloadUrl.isEmpty()) {
            QPushButton *download = box.addButton(u"Download"_s, QMessageBox::AcceptRole);
            links.insert(download, result.downloadUrl);
            box.setDefaultButton(download);
        }
        if (!result.releaseNotesUrl.isEmpty()) {
            links.insert(box.addButton(u"Release Notes"_s, QMessageBox::HelpRole),
                         result.releaseNotesUrl);
        }
        box.setEscapeButton(box.addButton(u"Later"_s, QMessageBox::RejectRole));
        break;
    }
    case UpdateCheckResult::Kind::upToDate:
        box.setIcon(QMessageBox::Information);
        box.setText(u"You’re up to date!"_s);
        box.setInformativeText(u"Corvane %1 is currently the newest version available."_s.arg(
            versionOrUnknown(result.currentVersion)));
        box.setStandardButtons(QMessageBox::Ok);
        break;
    case UpdateCheckResult::Kind::failed:
        box.setIcon(QMessageBox::Warning);
        box.setText(u"Update Error!"_s);
        box.setInformativeText(result.errorMessage.isEmpty() ? u"The update check failed."_s
                                                             : result.errorMessage);
        box.setStandardButtons(QMessageBox::Ok);
        break;
    }

    // A tray application has no window of its own in front, so bring the dialog forward.
    box.show();
    box.raise();
    box.activateWindow();
    box.exec();
    const auto link = links.constFind(box.clickedButton());
    if (link != links.cend())
        QDesktopServices::openUrl(*link);
}

} // namespace corvane
