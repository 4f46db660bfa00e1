// The editor footer's "Start at login" and "Run at login" against a recording platform: each
// click sets the platform's setting, and the boxes always show what the platform has. Run at login
// checking Start, and unchecking Start clearing both, are pressed in the real binary by
// e2e/cli_e2e.py (case autostart).
#include "FakePlatform.h"
#include "LoginOptions.h"

#include <QCheckBox>
#include <QTest>

using namespace corvane;
using namespace Qt::StringLiterals;

Q_DECLARE_METATYPE(corvane::LoginStart)

namespace {

QString shown(const LoginOptions &options)
{
    const auto checked = [&](const QString &name) {
        return options.findChild<QCheckBox *>(name)->isChecked();
    };
    return u"start %1, run %2"_s.arg(checked(u"startAtLogin"_s)).arg(checked(u"runAtLogin"_s));
}

} // namespace

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
        QTest::mouseClick(options.findChild<QCheckBox *>(clicked), Qt::LeftButton);
        QList<testing::FakePlatform::Call> expected{
            {u"setLoginStart"_s, {QString::number(int(asked))}}};
        if (!failure.isEmpty())
            expected.append(
                {u"alert"_s, {u"Couldn’t change how Corvane starts at login"_s, failure}});
        QCOMPARE(platform.calls, expected);
        QCOMPARE(shown(options), u"start 1, run 0"_s);
        // The setting may change elsewhere (another tool, a removed file): each showing reads it.
        options.hide();
        platform.login = LoginStart::startAndRun;
        options.show();
        QCOMPARE(shown(options), u"start 1, run 1"_s);
    }
};

QTEST_MAIN(LoginOptionsTest)
#include "tst_loginoptions.moc"
