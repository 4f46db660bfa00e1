#include "UpdateDialog.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDesktopServices>
#include <QMessageBox>
#include <QTest>
#include <QTimer>

using namespace Qt::Literals::StringLiterals;

class TestUpdateDialog final : public QObject {
    Q_OBJECT

    QStringList m_opened;

public Q_SLOTS:
    void open(const QUrl &url) { m_opened.append(url.path()); } // stands in for the browser

private Q_SLOTS:
    // Each button of the real modal dialog, pressed from inside its loop as a user would.
    void buttonsOpenTheirLinks()
    {
        QDesktopServices::setUrlHandler(u"https"_s, this, "open");
        corvane::UpdateCheckResult result{corvane::UpdateCheckResult::Kind::updateAvailable,
                                          u"2.0"_s};
        result.releaseNotesUrl = QUrl(u"https://e.org/notes"_s);
        result.downloadUrl = QUrl(u"https://e.org/c.deb"_s);
        result.currentVersion = u"1.4"_s;
        for (const QString &press : {u"Download"_s, u"Release Notes"_s, u"Later"_s}) {
            QStringList seen; // the versions, then the buttons
            // Runs once the dialog's own loop does.
            QTimer::singleShot(0, this, [&] {
                auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget());
                QVERIFY(box);
                seen << box->informativeText();
                for (QAbstractButton *button : box->buttons())
                    seen << button->text().remove(u'&');
                const qsizetype chosen = seen.indexOf(press) - 1;
                chosen >= 0 ? box->buttons().at(chosen)->click() : box->reject();
            });
            corvane::UpdateDialog::present(result);
            seen.sort();
            QCOMPARE(seen, (QStringList{u"Corvane 2.0 is now available—you have 1.4."_s,
                                        u"Download"_s, u"Later"_s, u"Release Notes"_s}));
        }
        QCOMPARE(m_opened, (QStringList{u"/c.deb"_s, u"/notes"_s}));
        QDesktopServices::unsetUrlHandler(u"https"_s);
    }
};

QTEST_MAIN(TestUpdateDialog)
#include "tst_updatedialog.moc"
