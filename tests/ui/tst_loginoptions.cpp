// The editor footer's login boxes against a recording platform: each click asks it for the
// user's choice, a failure is shown, and the boxes show what it has (its files: tests/platform).
#include "FakePlatform.h"
#include "LoginOptions.h"

#include <QCheckBox>
#include <QTest>

using namespace corvane;
using namespace Qt::StringLiterals;

Q_DECLARE_METATYPE(corvane::LoginStart)

class LoginOptionsTest final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    // Each ends with Start at login alone: set, kept, or left as it was by a failure.
    void clicks_data()
    {
        QTest::addColumn<LoginStart>("initial");
        QTest::addColumn<QString>("clicked");
        QTest::addColumn<QString>("failure");
        QTest::addColumn<LoginStart>("asked");
        using enum LoginStart;
        QTest::newRow("start") << off << u"startAtLogin"_s << QString() << start;
        QTest::newRow("unchecking run keeps start")
            << startAndRun << u"runAtLogin"_s << QString() << start;
        QTest::newRow("a failure leaves the setting as it was")
            << start << u"runAtLogin"_s << u"Permission denied"_s << startAndRun;
    }

    void clicks()
    {
        QFETCH(LoginStart, initial);
        QFETCH(QString, clicked);
        QFETCH(QString, failure);
        QFETCH(LoginStart, asked);
        testing::FakePlatform platform;
        platform.login = initial;
        if (!failure.isEmpty())
            platform.loginFailure = failure;
        LoginOptions options(platform);
        options.show();
        auto *start = options.findChild<QCheckBox *>(u"startAtLogin"_s);
        auto *run = options.findChild<QCheckBox *>(u"runAtLogin"_s);
        QTest::mouseClick(options.findChild<QCheckBox *>(clicked), Qt::LeftButton);
        QList<testing::FakePlatform::Call> expected{
            {u"setLoginStart"_s, {QString::number(int(asked))}}};
        if (!failure.isEmpty())
            expected.append(
                {u"alert"_s, {u"Couldn’t change how Corvane starts at login"_s, failure}});
        QCOMPARE(platform.calls, expected);
        QVERIFY(start->isChecked() && !run->isChecked());
        // The setting may change elsewhere (another tool, a removed file): each showing reads it.
        options.hide();
        platform.login = LoginStart::startAndRun;
        options.show();
        QVERIFY(start->isChecked() && run->isChecked());
    }
};

QTEST_MAIN(LoginOptionsTest)
#include "tst_loginoptions.moc"
