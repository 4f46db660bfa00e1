#include "FakePlatform.h"
#include "LaunchAlerts.h"

#include <QTest>

using namespace corvane;
using namespace corvane::testing;
using namespace Qt::StringLiterals;

class LaunchAlertsTest final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void errorAlerts_data()
    {
        QTest::addColumn<qint64>("number");
        QTest::addColumn<QString>("message");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("text");
        const QString permissionText =
            u"Grant permission in System Settings → Privacy & Security → Automation → Corvane, and "
            u"enable your terminal app there.\n\nIf Corvane isn’t listed there, run this in a "
            u"terminal and try again:\ntccutil reset AppleEvents io.github.corvane.Corvane"_s;
        const QString failed = u"Couldn’t run your commands"_s;
        QTest::newRow("permission denied hides the message")
            << qint64(-1743) << u"secret detail"_s
            << u"Corvane isn’t allowed to control your terminal app"_s << permissionText;
        QTest::newRow("compile failure") << qint64(0) << u"Could not compile AppleScript."_s
                                         << failed << u"Could not compile AppleScript. (error 0)"_s;
        QTest::newRow("negative") << qint64(-1728) << u"Can’t get window 3."_s << failed
                                  << u"Can’t get window 3. (error -1728)"_s;
        QTest::newRow("neighbour of permission")
            << qint64(-1744) << u"x"_s << failed << u"x (error -1744)"_s;
        QTest::newRow("empty message") << qint64(5) << QString() << failed << u" (error 5)"_s;
    }

    void errorAlerts()
    {
        QFETCH(qint64, number);
        QFETCH(QString, message);
        QFETCH(QString, title);
        QFETCH(QString, text);
        FakePlatform platform;
        LaunchAlerts(platform).showAlert({number, message});
        QCOMPARE(platform.calls, (QList<FakePlatform::Call>{{u"alert"_s, {title, text}}}));
    }

    void notInstalled()
    {
        FakePlatform platform;
        LaunchAlerts alerts(platform);
        alerts.showNotInstalledAlert(TerminalApp::appleTerminal);
        alerts.showNotInstalledAlert(TerminalApp::wezterm);
        const QList<FakePlatform::Call> expected{
            {u"alert"_s,
             {u"Terminal (macOS built-in) isn’t installed"_s,
              u"Pick a different terminal app in Edit Commands…, or install Terminal (macOS "
              u"built-in) and try again."_s}},
            {u"alert"_s,
             {u"WezTerm isn’t installed"_s,
              u"Pick a different terminal app in Edit Commands…, or install WezTerm and try again."_s}}};
        QCOMPARE(platform.calls, expected);
    }
};

QTEST_GUILESS_MAIN(LaunchAlertsTest)
#include "tst_launchalerts.moc"
