// The run preview against the run itself: whatever the preview names, the runner must then do on
// a recording platform. The real binary's dry run, with Warp and with its shell lines read back by
// real shells, is driven in e2e/cli_e2e.py.
#include "FakePlatform.h"
#include "FakeSleeper.h"
#include "RunPreview.h"
#include "TerminalRunner.h"
#include "TerminalTable.h"
#include "TestHelpers.h"

#include <QTest>

using namespace corvane;
using namespace corvane::testing;

namespace {

// Commands that need quoting of every kind, a blank step with a delay, a group with nothing to
// run, an SSH group and a command of two lines.
AppConfig awkwardConfig(TerminalApp terminal)
{
    return {
        terminal,
        {group(u"Build ‘box’"_s, {step(u"  cd ~/app && echo \"it's $HOME\" `id -u`  "_s, 1.5),
                                  step(u" "_s, 9), step(u"printf '%s\\n' a\\ b\t|| !!"_s, 0.2)}),
         group(u"empty"_s, {step(u"\u3000"_s, 4)}),
         group(u"remote"_s, {step(u"ssh box"_s, 2), step(u"tail -f /var/log/*.log"_s)}),
         group(u"two lines"_s, {step(u"echo one\necho two"_s)})}};
}

} // namespace

class RunPreviewTest final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void previewNamesWhatTheRunDoes_data()
    {
        QTest::addColumn<TerminalApp>("terminal");
        QTest::addColumn<bool>("installed");
        QTest::addColumn<QString>("typing");
        for (TerminalApp app : {TerminalApp::kitty, TerminalApp::ghostty, TerminalApp::tabby,
                                TerminalApp::gnomeTerminal, TerminalApp::foot,
                                TerminalApp::appleTerminal, TerminalApp::iterm2})
            QTest::newRow(qUtf8Printable(rawValue(app))) << app << true << QString();
        QTest::newRow("not installed") << TerminalApp::wezterm << false << QString();
        QTest::newRow("no tmux") << TerminalApp::kitty << true << u"tmux"_s;
    }

    // A run that cannot go ahead shows one alert and nothing else, and the preview names it.
    void previewNamesWhatTheRunDoes()
    {
        QFETCH(TerminalApp, terminal);
        QFETCH(bool, installed);
        QFETCH(QString, typing);
        FakePlatform platform;
        if (installed)
            platform.install(terminal);
        AppConfig config = awkwardConfig(terminal);
        config.typing = typing;

        const RunPreview preview = RunPreview::of(config, platform);
        QCOMPARE(platform.calls, QList<FakePlatform::Call>{}); // nothing started, typed or shown

        FakeSleeper sleeper;
        TerminalRunner runner(platform, sleeper);
        QVERIFY(runner.runAll(config).isReady());

        const bool fails = !installed || !typing.isEmpty();
        QCOMPARE(platform.callsOf(u"alert"_s).size(), qsizetype(fails ? 1 : 0));
        if (fails) {
            QCOMPARE(platform.calls.size(), 1);
            QCOMPARE(preview.problem, platform.calls[0].values.join(u". "_s));
            QVERIFY(preview.problem.startsWith(installed ? u"tmux"_s : displayName(terminal)));
            QVERIFY(preview.text().isEmpty());
            return;
        }
        QCOMPARE(preview.problem, QString());

        // Those of the run, in order; the fake gives every scripted window the id 0.
        QList<FakePlatform::Call> previewed;
        QList<double> waits;
        for (const ProcessCommand &process : preview.processes)
            previewed.append({u"startProcess"_s, QStringList{process.program} + process.arguments});
        for (const RunPreview::ScriptedWindow &window : preview.scriptedWindows) {
            for (const RunPreview::Script &script : window.scripts) {
                QVERIFY(preview.text().contains(u'\n' + script.source + u'\n'));
                previewed.append(
                    {u"appleScript"_s, {QString(script.source).replace(u"{window}"_s, u"0"_s)}});
                waits.append(std::chrono::duration<double>(script.waitAfter).count());
            }
        }
        QCOMPARE(previewed, platform.calls);
        if (!preview.scriptedWindows.isEmpty())
            QCOMPARE(waits, sleeper.seconds);
    }
};

QTEST_GUILESS_MAIN(RunPreviewTest)
#include "tst_runpreview.moc"
