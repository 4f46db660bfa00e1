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

public Q_SLOTS:
    void open(const QUrl &url) { m_opened.append(url.path()); } // stands in for the browser

private Q_SLOTS:
    void buttonsOpenTheirLinks();

private:
    QStringList m_opened;
};

void TestUpdateDialog::buttonsOpenTheirLinks()
{
    QDesktopServices::setUrlHandler(u"https"_s, this, "open");
    const corvane::UpdateCheckResult result{corvane::UpdateCheckResult::Kind::updateAvailable,
                                            u"2.0"_s,
                                            QUrl(u"https://e.org/notes"_s),
                                            QUrl(u"https://e.org/c.deb"_s),
                                            QString(),
                                            u"1.4"_s};
    for (const QString &press : {u"Download"_s, u"Release Notes"_s, u"Later"_s}) {
        // Answers the real modal loop from inside it, as a user would.
        QStringList seen;
        QTimer user;
        user.callOnTimeout(this, [&] {
            auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget());
            if (box == nullptr)
                return;
            user.stop();
            seen << box->text() << box->informativeText();
            QAbstractButton *chosen = nullptr;
            for (QAbstractButton *button : box->buttons()) {
                seen << button->text().remove(u'&');
                if (seen.last() == press)
                    chosen = button;
            }
            chosen != nullptr ? chosen->click() : box->reject();
        });
        user.start(10);
        corvane::UpdateDialog::present(result);
        seen.sort();
        QCOMPARE(seen, (QStringList{u"A new version of Corvane is available!"_s,
                                    u"Corvane 2.0 is now available—you have 1.4."_s, u"Download"_s,
                                    u"Later"_s, u"Release Notes"_s}));
    }
    QCOMPARE(m_opened, (QStringList{u"/c.deb"_s, u"/notes"_s}));
    QDesktopServices::unsetUrlHandler(u"https"_s);
}

QTEST_MAIN(TestUpdateDialog)
#include "tst_updatedialog.moc"
