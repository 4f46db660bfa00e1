#include "ConfigBuilders.h"
#include "FakePlatform.h"
#include "FakeSleeper.h"
#include "HeldSleeper.h"
#include "TerminalRunner.h"

#include "AppleScriptDriver.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <cmath>
#include <limits>

using namespace corvane;
using namespace corvane::testing;
using namespace Qt::StringLiterals;
using Call = FakePlatform::Call;

namespace {

Call script(const QString &source)
{
    return {u"appleScript"_s, {source}};
}

Call wait(double seconds)
{
    return {u"wait"_s, {QString::number(seconds)}};
}

Call process(const QStringList &argv)
{
    return {u"startProcess"_s, argv};
}

QStringList kitty(const QString &windowCommand)
{
    return {u"/Applications/net.kovidgoyal.kitty/Contents/MacOS/kitty"_s, u"--single-instance"_s,
            u"/bin/zsh"_s, u"-ilc"_s, windowCommand};
}

} // namespace

class TerminalRunnerTest final : public QObject {
    Q_OBJECT

private:
    FakePlatform platform;
    FakeSleeper sleeper;
    std::unique_ptr<QTemporaryDir> support;

    // Waits go into the platform's log, so the order of calls and waits is checked as one.
    void reset()
    {
        platform = FakePlatform{};
        support = std::make_unique<QTemporaryDir>();
        platform.supportDirectory = support->path();
        sleeper = FakeSleeper{};
        sleeper.onWait = [this](std::chrono::nanoseconds duration) {
            platform.calls.append(wait(std::chrono::duration<double>(duration).count()));
        };
    }

    void run(TerminalRunner &runner, const AppConfig &config)
    {
        // The fake sleeper never suspends, so the whole run happens inside this call.
        auto task = runner.runAll(config);
        QVERIFY(task.isReady());
        QVERIFY(!runner.isRunning());
    }

private Q_SLOTS:
    void init() { reset(); }

    void appleScriptRunOpensAndTypesWithWaits()
    {
        platform.install(u"com.apple.Terminal"_s);
        platform.scriptOutcomes = {AppleScriptResult{41}, AppleScriptResult{},
                                   AppleScriptResult{42}};
        TerminalRunner runner(platform, sleeper);
        const AppConfig config{
            TerminalApp::appleTerminal,
            {group(u"A"_s, {step(u"cd ~/app"_s), step(u"   "_s, 9), step(u" npm start "_s, 2)}),
             group(u"B"_s, {step(u"ssh box"_s, 5)})}};
        run(runner, config);

        const auto T = TerminalApp::appleTerminal;
        const QList<Call> expected{
            script(AppleScriptDriver::openScript(u"cd ~/app"_s, T)),
            wait(0.5),
            // Sent as stored, surrounding blanks included.
            script(AppleScriptDriver::runScript(u" npm start "_s, 41, T)),
            wait(2),
            script(AppleScriptDriver::openScript(u"ssh box"_s, T)),
            wait(5),
        };
        QCOMPARE(platform.calls, expected);
    }

    void appleScriptWaits_data()
    {
        QTest::addColumn<double>("delay");
        QTest::addColumn<double>("afterFirst");
        QTest::addColumn<double>("afterLater");
        constexpr double inf = std::numeric_limits<double>::infinity();
        QTest::newRow("zero") << 0.0 << 0.5 << 0.3;
        QTest::newRow("negative") << -4.0 << 0.5 << 0.3;
        QTest::newRow("between floors") << 0.4 << 0.5 << 0.4;
        QTest::newRow("long") << 10.0 << 10.0 << 10.0;
        QTest::newRow("not a number") << std::nan("") << 0.5 << 0.3;
        QTest::newRow("infinite") << inf << 0.5 << 0.3;
        QTest::newRow("minus infinite") << -inf << 0.5 << 0.3;
        QTest::newRow("beyond any clock") << 1e300 << 1e9 << 1e9;
    }

    void appleScriptWaits()
    {
        QFETCH(double, delay);
        QFETCH(double, afterFirst);
        QFETCH(double, afterLater);
        platform.install(u"com.googlecode.iterm2"_s);
        TerminalRunner runner(platform, sleeper);
        run(runner,
            {TerminalApp::iterm2, {group(u"A"_s, {step(u"a"_s, delay), step(u"b"_s, delay)})}});
        QCOMPARE(sleeper.seconds(), (QList<double>{afterFirst, afterLater}));
    }

    void blankGroupsCostNothing()
    {
        platform.install(u"com.apple.Terminal"_s);
        TerminalRunner runner(platform, sleeper);
        run(runner, {TerminalApp::appleTerminal,
                     {group(u"blank"_s, {step(u" \t\n"_s, 7), step(u""_s, 3)}),
                      group(u"empty"_s, {}), group(u"one"_s, {step(u"make"_s)})}});
        QCOMPARE(platform.callsOf(u"appleScript"_s).size(), 1);
        QCOMPARE(sleeper.seconds(), QList<double>{0.5});
    }

    void appleScriptFailureStopsTheRunWithOneAlert()
    {
        platform.install(u"com.apple.Terminal"_s);
        platform.scriptOutcomes = {AppleScriptResult{1}, AppleScriptResult{}, AppleScriptResult{2},
                                   AppleScriptFailure{-1728, u"Can’t get window id 2."_s}};
        TerminalRunner runner(platform, sleeper);
        const auto threeGroups = AppConfig{TerminalApp::appleTerminal,
                                           {group(u"1"_s, {step(u"a1"_s), step(u"a2"_s)}),
                                            group(u"2"_s, {step(u"b1"_s), step(u"b2"_s)}),
                                            group(u"3"_s, {step(u"c1"_s), step(u"c2"_s)})}};
        bool runningDuringAlert = false;
        platform.onAlert = [&] { runningDuringAlert = runner.isRunning(); };
        run(runner, threeGroups);

        const auto T = TerminalApp::appleTerminal;
        const QList<Call> expected{
            script(AppleScriptDriver::openScript(u"a1"_s, T)),
            wait(0.5),
            script(AppleScriptDriver::runScript(u"a2"_s, 1, T)),
            wait(0.3),
            script(AppleScriptDriver::openScript(u"b1"_s, T)),
            wait(0.5),
            script(AppleScriptDriver::runScript(u"b2"_s, 2, T)),
            Call{u"alert"_s,
                 {u"Couldn’t run your commands"_s, u"Can’t get window id 2. (error -1728)"_s}},
        };
        QCOMPARE(platform.calls, expected);
        QVERIFY(runningDuringAlert);

        // The runner is free again: a new run goes all the way through.
        platform.calls.clear();
        run(runner, threeGroups);
        QCOMPARE(platform.callsOf(u"appleScript"_s).size(), 6);
        QVERIFY(platform.callsOf(u"alert"_s).isEmpty());
    }

    void permissionDeniedOnTheFirstWindow()
    {
        platform.install(u"com.apple.Terminal"_s);
        platform.scriptOutcomes = {AppleScriptFailure{-1743, u"Not authorized"_s}};
        TerminalRunner runner(platform, sleeper);
        run(runner, {TerminalApp::appleTerminal,
                     {group(u"1"_s, {step(u"a"_s)}), group(u"2"_s, {step(u"b"_s)})}});
        QCOMPARE(platform.callsOf(u"appleScript"_s).size(), 1);
        const auto alerts = platform.callsOf(u"alert"_s);
        QCOMPARE(alerts.size(), 1);
        QCOMPARE(alerts.first().values.first(),
                 u"Corvane isn’t allowed to control your terminal app"_s);
        QVERIFY(sleeper.waits.isEmpty());
    }

    void notInstalledAlertComesFirst_data()
    {
        QTest::addColumn<int>("groupCount");
        QTest::newRow("no groups") << 0;
        QTest::newRow("two groups") << 2;
    }

    void notInstalledAlertComesFirst()
    {
        QFETCH(int, groupCount);
        AppConfig config{TerminalApp::kitty, {}};
        for (int i = 0; i < groupCount; ++i)
            config.groups.append(group(u"g"_s, {step(u"ls"_s)}));
        TerminalRunner runner(platform, sleeper);
        QSignalSpy changes(&runner, &TerminalRunner::isRunningChanged);
        bool runningDuringAlert = false;
        platform.onAlert = [&] { runningDuringAlert = runner.isRunning(); };
        run(runner, config);

        const QList<Call> expected{
            {u"alert"_s,
             {u"kitty isn’t installed"_s,
              u"Pick a different terminal app in Edit Commands…, or install kitty and try again."_s}}};
        QCOMPARE(platform.calls, expected);
        QVERIFY(runningDuringAlert);
        QCOMPARE(changes.size(), 2);
        QCOMPARE(changes.at(0).at(0).toBool(), true);
        QCOMPARE(changes.at(1).at(0).toBool(), false);
    }

    void installedTerminalWithoutGroupsDoesNothing()
    {
        platform.install(u"org.alacritty"_s);
        TerminalRunner runner(platform, sleeper);
        QSignalSpy changes(&runner, &TerminalRunner::isRunningChanged);
        run(runner, {TerminalApp::alacritty, {}});
        QVERIFY(platform.calls.isEmpty());
        QCOMPARE(changes.size(), 2);
    }

    void packedRunLaunchesEachWindowThenPauses()
    {
        platform.install(u"net.kovidgoyal.kitty"_s);
        TerminalRunner runner(platform, sleeper);
        run(runner, {TerminalApp::kitty,
                     {group(u"app"_s, {step(u"cd ~/app"_s), step(u"npm start"_s, 2)}),
                      group(u"skipped"_s, {step(u"  "_s, 4)}, u" \n "_s),
                      group(u"box"_s, {step(u"ssh box"_s, 5)})}});
        const QList<Call> expected{process(kitty(u"cd ~/app; npm start; exec /bin/zsh -il"_s)),
                                   wait(0.8), process(kitty(u"ssh box; exec /bin/zsh -il"_s)),
                                   wait(0.8)};
        QCOMPARE(platform.calls, expected);
    }

    void packedRunUsesOverridesAndTheLoginShell()
    {
        platform.install(u"org.alacritty"_s, u"/opt/Alacritty.app"_s);
        platform.shell = u"/usr/bin/fish"_s;
        TerminalRunner runner(platform, sleeper);
        run(runner, {TerminalApp::alacritty,
                     {group(u"custom"_s, {step(u""_s)}, u"  htop\n"_s),
                      group(u"spaces only"_s, {step(u"a"_s, 1), step(u"b"_s)}, u"   "_s)}});
        const QList<Call> expected{
            process({u"/opt/Alacritty.app/Contents/MacOS/alacritty"_s, u"-e"_s, u"/usr/bin/fish"_s,
                     u"-ilc"_s, u"htop; exec /usr/bin/fish -il"_s}),
            wait(0.8),
            process({u"/opt/Alacritty.app/Contents/MacOS/alacritty"_s, u"-e"_s, u"/usr/bin/fish"_s,
                     u"-ilc"_s, u"a; sleep 1; b; exec /usr/bin/fish -il"_s}),
            wait(0.8)};
        QCOMPARE(platform.calls, expected);
    }

    void packedLaunchFailureStopsTheRun()
    {
        platform.install(u"net.kovidgoyal.kitty"_s);
        platform.startFailures.insert(1, u"No such file or directory"_s);
        TerminalRunner runner(platform, sleeper);
        const AppConfig config{TerminalApp::kitty,
                               {group(u"1"_s, {step(u"one"_s)}), group(u"2"_s, {step(u"two"_s)}),
                                group(u"3"_s, {step(u"three"_s)})}};
        run(runner, config);
        const QList<Call> expected{
            process(kitty(u"one; exec /bin/zsh -il"_s)),
            wait(0.8),
            process(kitty(u"two; exec /bin/zsh -il"_s)),
            {u"alert"_s,
             {u"Couldn’t run your commands"_s,
              u"Couldn’t launch kitty: No such file or directory (error 0)"_s}}};
        QCOMPARE(platform.calls, expected);

        platform.calls.clear();
        run(runner, config);
        QCOMPARE(platform.callsOf(u"startProcess"_s).size(), 3);
    }

    void cancelledWaitEndsTheRunQuietly()
    {
        platform.install(u"net.kovidgoyal.kitty"_s);
        sleeper.cancelAt = 0;
        TerminalRunner runner(platform, sleeper);
        run(runner, {TerminalApp::kitty,
                     {group(u"1"_s, {step(u"one"_s)}), group(u"2"_s, {step(u"two"_s)})}});
        QCOMPARE(platform.callsOf(u"startProcess"_s).size(), 1);
        QVERIFY(platform.callsOf(u"alert"_s).isEmpty());
    }

    void warpRunWritesOneFileWithoutWaits()
    {
        platform.install(u"dev.warp.Warp-Stable"_s);
        TerminalRunner runner(platform, sleeper);
        run(runner, {TerminalApp::warp,
                     {group(u"API"_s, {step(u"cd ~/api"_s, 2), step(u"npm start"_s)}),
                      group(u"blank"_s, {step(u" "_s)}), group(u""_s, {step(u"ssh box"_s, 5)})}});
        QVERIFY(sleeper.waits.isEmpty());
        const auto urls = platform.callsOf(u"openUrl"_s);
        QCOMPARE(urls.size(), 1);
        QFile file(support->filePath(u"Corvane/warp_launch.yaml"_s));
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(
            file.readAll(),
            QByteArray("---\nname: Corvane\nwindows:\n"
                       "  - tabs:\n      - title: \"API\"\n        layout:\n"
                       "          commands:\n            - exec: \"cd ~/api; sleep 2; npm start\"\n"
                       "  - tabs:\n      - title: \"\"\n        layout:\n"
                       "          commands:\n            - exec: \"ssh box\"\n"));
    }

    void warpWithNothingToRunOpensNothing()
    {
        platform.install(u"dev.warp.Warp-Stable"_s);
        TerminalRunner runner(platform, sleeper);
        run(runner, {TerminalApp::warp, {group(u"blank"_s, {step(u"\n"_s)}, u" "_s)}});
        QVERIFY(platform.calls.isEmpty());
        QVERIFY(!QFile::exists(support->filePath(u"Corvane/warp_launch.yaml"_s)));
    }

    // The menu starts runs and drops the task; the run must carry on to its end regardless, and
    // a second request while it is suspended must be ignored.
    void droppedRunContinuesAndBlocksASecondRun()
    {
        platform.install(u"net.kovidgoyal.kitty"_s);
        HeldSleeper held;
        TerminalRunner runner(platform, held);
        QSignalSpy changes(&runner, &TerminalRunner::isRunningChanged);
        const AppConfig config{TerminalApp::kitty,
                               {group(u"1"_s, {step(u"one"_s)}), group(u"2"_s, {step(u"two"_s)})}};
        runner.runAll(config); // dropped at once, as the menu does
        QVERIFY(runner.isRunning());
        QCOMPARE(held.pending, 1);

        runner.runAll(AppConfig{TerminalApp::kitty, {group(u"x"_s, {step(u"other"_s)})}});
        QCOMPARE(platform.callsOf(u"startProcess"_s).size(), 1);
        QCOMPARE(changes.size(), 1);

        // The sleeper resumes its waits from the event loop.
        held.release();
        QTRY_COMPARE(held.pending, 1);
        QCOMPARE(platform.callsOf(u"startProcess"_s).size(), 2);
        QVERIFY(runner.isRunning());
        held.release();
        QTRY_VERIFY(!runner.isRunning());
        QCOMPARE(changes.size(), 2);
        QCOMPARE(held.waits.size(), 2);
        QCOMPARE(platform.callsOf(u"startProcess"_s).last().values.last(),
                 u"two; exec /bin/zsh -il"_s);
        QVERIFY(platform.callsOf(u"alert"_s).isEmpty());
    }

    void cancellationWhileHeldEndsWithoutAlert()
    {
        platform.install(u"com.apple.Terminal"_s);
        HeldSleeper held;
        TerminalRunner runner(platform, held);
        runner.runAll({TerminalApp::appleTerminal, {group(u"1"_s, {step(u"a"_s), step(u"b"_s)})}});
        held.release(false);
        QTRY_VERIFY(!runner.isRunning());
        QCOMPARE(platform.callsOf(u"appleScript"_s).size(), 1);
        QVERIFY(platform.callsOf(u"alert"_s).isEmpty());
    }
};

QTEST_GUILESS_MAIN(TerminalRunnerTest)
#include "tst_terminalrunner.moc"
