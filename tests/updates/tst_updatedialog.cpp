#include "UpdateDialog.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDesktopServices>
#include <QMessageBox>
#include <QTest>
#include <QTimer>

using namespace Qt::Literals::StringLiterals;
using Kind = corvane::UpdateCheckResult::Kind;

class TestUpdateDialog final : public QObject {
    Q_OBJECT

public Q_SLOTS:
    void open(const QUrl &url) { m_opened.append(url.path()); } // stands in for the browser

private Q_SLOTS:
    void initTestCase() { QDesktopServices::setUrlHandler(u"https"_s, this, "open"); }
    void cleanupTestCase() { QDesktopServices::unsetUrlHandler(u"https"_s); }
    void showsTheOutcome_data();
    void showsTheOutcome();

private:
    QStringList m_opened;
};

void TestUpdateDialog::showsTheOutcome_data()
{
    QTest::addColumn<Kind>("kind");
    QTest::addColumn<QString>("download"); // "" for none
    QTest::addColumn<QString>("press");
    QTest::addColumn<QString>("shown"); // text, informative text, buttons

    QTest::newRow("download") << Kind::updateAvailable << u"/c.deb"_s << u"Download"_s
                              << u"A new version of Corvane is available! Corvane 2.0 is now "
                                 "available—you have 1.4. Download Later Release Notes"_s;
    QTest::newRow("notes") << Kind::updateAvailable << QString() << u"Release Notes"_s
                           << u"A new version of Corvane is available! Corvane 2.0 is now "
                              "available—you have 1.4. Later Release Notes"_s;
    QTest::newRow("up to date") << Kind::upToDate << u"/c.deb"_s << u"OK"_s
                                << u"You’re up to date! Corvane 1.4 is currently the newest "
                                   "version available. OK"_s;
}

void TestUpdateDialog::showsTheOutcome()
{
    QFETCH(Kind, kind);
    QFETCH(QString, download);
    QFETCH(QString, press);
    QFETCH(QString, shown);

    m_opened.clear();
    corvane::UpdateCheckResult result{kind,   u"2.0"_s,  QUrl(u"https://e.org/notes"_s),
                                      QUrl(), QString(), u"1.4"_s};
    if (!download.isEmpty())
        result.downloadUrl = QUrl(u"https://e.org"_s + download);
    // Answers the real modal loop from inside it, as a user would.
    QString seen;
    QTimer user;
    user.callOnTimeout(this, [&] {
        auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget());
        if (box == nullptr)
            return;
        user.stop();
        QStringList buttons;
        for (QAbstractButton *button : box->buttons())
            buttons << button->text().remove(u'&');
        buttons.sort();
        seen = QStringList{box->text(), box->informativeText(), buttons.join(u' ')}.join(u' ');
        const auto buttonList = box->buttons();
        const auto chosen = std::find_if(buttonList.begin(), buttonList.end(), [&](auto *button) {
            return button->text().remove(u'&') == press;
        });
        chosen != buttonList.end() ? (*chosen)->click() : box->reject();
    });
    user.start(10);
    corvane::UpdateDialog::present(result);
    QCOMPARE(seen, shown);
    const QString link = press == u"Download"_s ? download : u"/notes"_s;
    QCOMPARE(m_opened, kind == Kind::updateAvailable ? QStringList{link} : QStringList());
}

QTEST_MAIN(TestUpdateDialog)
#include "tst_updatedialog.moc"
