// The runner, its parts and the run preview against recording doubles: exact texts, call order
// and waits.
#include "FakePlatform.h"
#include "FakeSleeper.h"
#include "PackedCommandBuilder.h"
#include "RunPlan.h"
#include "RunPreview.h"
#include "TerminalRunner.h"
#include "TestHelpers.h"
#include "TmuxSessions.h"

#include <QDir>
#include <QJsonObject>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <yaml-cpp/yaml.h>

using namespace corvane;
using namespace corvane::testing;
using Call = FakePlatform::Call;
using Calls = QList<Call>;
using TA = TerminalApp;

namespace {

const QString failed = u"Couldn’t run your commands"_s;
const auto wait = [](double s) { return Call{u"wait"_s, {QString::number(s)}}; };
const auto alert = [](const QString &t, const QString &x) { return Call{u"alert"_s, {t, x}}; };
// Terminal's scripts, the command inside AppleScript's quotes.
QString quoted(QString c)
{
    return c.replace(u"\\"_s, u"\\\\"_s).replace(u"\""_s, u"\\\""_s);
}
const auto open = [](const QString &c) {
    return Call{u"appleScript"_s,
                {u"tell application \"Terminal\"\n    activate\n    do script "
                 u"\"%1\"\n    return id of front window\nend tell"_s.arg(quoted(c))}};
};
const auto send = [](const QString &c, int id) {
    return Call{u"appleScript"_s,
                {u"tell application \"Terminal\"\n    do script \"%1\" in tab 1 "
                 u"of window id %2\nend tell"_s.arg(quoted(c), QString::number(id))}};
};
} // namespace

class TerminalRunnerTest final : public QObject {
    Q_OBJECT

    FakePlatform platform;
    FakeSleeper sleeper;
    QTemporaryDir support;

    // The fake sleeper never suspends, so a run ends inside runAll(); its waits join the log.
    // Every alert is announced first (`corvane run` reports it).
    void run(TerminalRunner &runner, const AppConfig &config)
    {
        sleeper.onWait = [this](double s) { platform.calls.append(wait(s)); };
        // The run is under way while its alert is up: a second request then is ignored.
        bool asked = false;
        platform.onAlert = [&] {
            if (!std::exchange(asked, true))
                QVERIFY(runner.runAll(config).isReady());
        };
        QSignalSpy announced(&runner, &TerminalRunner::alerting);
        const qsizetype before = platform.callsOf(u"alert"_s).size();
        QVERIFY(runner.runAll(config).isReady());
        QVERIFY(!runner.isRunning());
        platform.onAlert = nullptr;
        Calls told;
        for (const QList<QVariant> &text : std::as_const(announced))
            told.append(alert(text[0].toString(), text[1].toString()));
        QCOMPARE(told, platform.callsOf(u"alert"_s).mid(before));
    }

private Q_SLOTS:
    void init()
    {
        platform = FakePlatform{};
        platform.supportDirectory = support.path();
        for (TerminalApp app : {TA::appleTerminal, TA::kitty, TA::warp})
            platform.install(app);
    }

    // Blank steps and windows are skipped; each wait is the step's delay raised to its floor
    // (0.5 s after a window's first command, 0.3 s after the others; not a number: the floor;
    // absurd: cut short). A wait is typed as a command of its own, the step's delay after it; a
    // start condition comes first, after `cd` to the window's folder. Line breaks become spaces,
    // so that one command stays one. A failure ends the run with one alert.
    void appleScriptRunTypesIntoEachWindow()
    {
        const AppleScriptResult ok{};
        platform.scriptOutcomes = {AppleScriptResult{41}, ok, ok, ok, ok, ok, AppleScriptResult{2}};
        platform.scriptOutcomes += AppleScriptFailure{-1728, u"Can’t get window id 2."_s};
        TerminalRunner runner(platform, sleeper);
        TabGroup box = group(u"B"_s, {step(u"ssh box"_s, 5)});
        box.commands[0].waitFor = QJsonObject{{u"file"_s, u"/tmp/r"_s}};
        box.startWhen = QJsonObject{{u"port"_s, 0}};
        box.directory = support.path();
        const AppConfig config{
            TA::appleTerminal,
            {group(u"A"_s, {step(u"cd \"~/a\\b\""_s, 0.4), step(u"   "_s, 9),
                            step(u" npm start "_s, -4), step(u"tail\n-f\rx"_s, 1e300)}),
             group(u"blank"_s, {step(u" \t\n"_s, 7)}), group(u"empty"_s, {}), box,
             group(u"C"_s, {step(u"c1"_s, qQNaN()), step(u"c2"_s)}),
             group(u"D"_s, {step(u"d"_s)})}};
        run(runner, config);
        QCOMPARE(platform.calls,
                 (Calls{open(u"cd \"~/a\\b\""_s), wait(0.5), send(u" npm start "_s, 41), wait(0.3),
                        send(u"tail -f x"_s, 41), wait(1e9),
                        open(u"cd "_s + support.path() +
                             u"; echo 'Corvane: not waiting: the port must be a number from 1 to "
                             u"65535'"_s),
                        wait(0.5), send(u"ssh box"_s, 0), wait(0.3),
                        send(PackedCommandBuilder::waitCommand(box.commands[0].waitFor), 0),
                        wait(5), open(u"c1"_s), wait(0.5), send(u"c2"_s, 2),
                        alert(failed, u"Can’t get window id 2. (error -1728)"_s)}));

        // Free again after a failure; what the other kinds of failure read as.
        const std::pair<AppleScriptOutcome, QString> failures[] = {
            {AppleScriptOutcome{}, u"Could not compile AppleScript. (error 0)"_s},
            {AppleScriptFailure{-2741, std::nullopt},
             u"Unknown AppleScript error. (error -2741)"_s},
            {AppleScriptFailure{std::nullopt, u"Syntax error"_s}, u"Syntax error (error 0)"_s}};
        for (const auto &[outcome, text] : failures) {
            platform.calls.clear();
            platform.scriptOutcomes = {AppleScriptResult{-5}, outcome};
            run(runner, config);
            QCOMPARE(platform.calls.mid(2),
                     (Calls{send(u" npm start "_s, -5), alert(failed, text)}));
        }
    }

    void packedRunLaunchesEachWindowThenPauses_data()
    {
        QTest::addColumn<TerminalApp>("terminal");
        QTest::addColumn<QString>("head"); // the vector before the shell; %1: the title
        QTest::newRow("kitty") << TA::kitty << u"--single-instance -T %1"_s;
        QTest::newRow("title inside an option") << TA::konsole << u"-p tabtitle=%1 -e"_s;
        QTest::newRow("title before --") << TA::gnomeTerminal << u"--window --title %1 --"_s;
        QTest::newRow("no title") << TA::wezterm << u"start --always-new-process --"_s;
    }

    // Each window's vector, the packed line after the shell; a missing folder gives the home
    // folder and says so in the window. How each system starts the program is the platforms'
    // tests, that the windows open and run tst_realterminals'.
    void packedRunLaunchesEachWindowThenPauses()
    {
        QFETCH(TerminalApp, terminal);
        QFETCH(QString, head);
        platform.install(terminal, u"/A/x"_s);
        platform.startFailures.insert(3, u"No such file or directory"_s);
        const auto window = [&](const QString &title, const QString &line) {
            return Call{u"startProcess"_s,
                        QStringList{u"/A/x"_s} +
                            (head.contains(u"%1"_s) ? head.arg(title) : head).split(u' ') +
                            QStringList{u"/bin/zsh"_s, u"-ilc"_s,
                                        u"trap : INT; "_s + line + u"; exec /bin/zsh -il"_s}};
        };
        const QString missing = support.filePath(u"gone"_s);
        TabGroup box = group(u"box"_s, {step(u"ssh box"_s, 5)});
        box.directory = missing;
        const AppConfig config{
            terminal,
            {group(u"app"_s, {step(u"cd ~/app"_s, 2), step(u"npm start"_s, 4)}, u"  "_s),
             group(u"skipped"_s, {step(u"  "_s, 4)}, u" \n "_s),
             group(u"custom"_s, {step(u""_s)}, u"  htop\n"_s), box,
             group(u"fails"_s, {step(u"x"_s)}), group(u"never"_s, {step(u"y"_s)})}};
        TerminalRunner runner(platform, sleeper);
        run(runner, config);
        QCOMPARE(platform.calls,
                 (Calls{window(u"app"_s, u"cd ~/app; sleep 2; npm start"_s), wait(0.8),
                        window(u"custom"_s, u"htop"_s), wait(0.8),
                        window(u"box"_s, u"echo 'Corvane: there is no folder "_s + missing +
                                             u"; starting in the home folder'; ssh box"_s),
                        wait(0.8), window(u"fails"_s, u"x"_s),
                        alert(failed, u"Couldn’t launch "_s + displayName(terminal) +
                                          u": No such file or directory (error 0)"_s)}));
        QCOMPARE(RunPlan::of(config, platform).windows[2].process.workingDirectory,
                 QDir::homePath());
    }

    // One launch file for every window, opened by URL (the folder's name needs encoding there),
    // that a YAML reader (as Warp's is) reads back to each window's title, folder and packed
    // command; nothing at all when no window has commands; a file that cannot be written ends the
    // run.
    void warpRunWritesOneFileWithoutWaits()
    {
        TerminalRunner runner(platform, sleeper);
        platform.supportDirectory = support.filePath(u"a b#?%;[\"<\\^`{|}é→~!$&'()*+,:=@"_s);
        const QString path = platform.supportDirectory + u"/Corvane/warp_launch.yaml"_s;
        run(runner, {TA::warp, {group(u"blank"_s, {step(u"\n"_s)}, u" "_s)}});
        QVERIFY(platform.calls.isEmpty() && !QFile::exists(path));

        // Texts that need quoting in YAML: quotes and backslashes nested as ssh's remote form
        // nests them, a tab, a comment sign, a colon, an empty title.
        const QString remote = u"ssh b -t 'exec $SHELL -ilc \"echo \\\"hi\\\" '\\''x'\\''\"'"_s;
        TabGroup api =
            group(u"\t# API: \"é\" \\"_s, {step(u"cd ~/api"_s, 2), step(u"npm start"_s)});
        api.directory = support.path();
        run(runner,
            {TA::warp, {api, group(u"blank"_s, {step(u" "_s)}), group(u""_s, {step(remote, 5)})}});
        QCOMPARE(platform.calls,
                 (Calls{{u"openUrl"_s,
                         {u"warp://launch/"_s + support.path() +
                          u"/a%20b%23%3F%25%3B%5B%22%3C%5C%5E%60%7B%7C%7D%C3%A9%E2%86%92"
                          u"~!$&'()*+,:=@/Corvane/warp_launch.yaml"_s}}}));
        const YAML::Node windows = YAML::LoadFile(path.toStdString())["windows"];
        QCOMPARE(windows.size(), std::size_t(2));
        const auto tab = [&](std::size_t i) { // title, folder and command; "-": Warp's own
            const YAML::Node node = windows[i]["tabs"][0], layout = node["layout"];
            QStringList texts;
            for (const YAML::Node &text :
                 {node["title"], layout["cwd"], layout["commands"][0]["exec"]})
                texts.append(text ? QString::fromStdString(text.as<std::string>()) : u"-"_s);
            return texts;
        };
        QCOMPARE(tab(0),
                 (QStringList{api.name, support.path(), u"cd ~/api; sleep 2; npm start"_s}));
        QCOMPARE(tab(1), (QStringList{QString(), u"-"_s, remote}));
        QCOMPARE(QFile::permissions(path) & 0x0FF, QFile::Permissions()); // owner only

        platform.calls.clear();
        platform.supportDirectory = path; // no folder can go under a file
        run(runner, {TA::warp, {group(u"a"_s, {step(u"ls"_s)})}});
        QCOMPARE(platform.calls.size(), 1);
        QVERIFY(platform.calls[0].values.value(1).startsWith(
            u"Couldn’t write the Warp launch file: Not a directory"_s));
    }

    // The plan of a run with the choice made: sessions named after the windows and free on the
    // server, waits typed as commands of their own, the preview and the editor's card showing
    // them; a terminal opened by Warp's launch file keeps its packed lines.
    void thePlanTypesThroughTmux()
    {
        platform.install(TA::xterm);
        platform.programs.insert(u"tmux"_s, u"/usr/bin/tmux"_s);
        AppConfig config{TA::xterm,
                         {group(u"api: db"_s, {step(u"python3"_s), step(u"   "_s)}),
                          group(u"api: db"_s, {step(u"make"_s, 2)})},
                         u"tmux"_s};
        config.groups[1].commands[0].waitFor = QJsonObject{{u"port"_s, 5432}};
        config.groups[1].startWhen = QJsonObject{{u"file"_s, u"/tmp/x"_s}};

        RunPlan plan = RunPlan::of(config, platform);
        plan.nameSessions({u"api-db"_s}); // taken on the server
        QCOMPARE(plan.windows.size(), 2);
        QCOMPARE(plan.windows[0].tmuxSession, u"api-db-2"_s);
        QCOMPARE(plan.windows[1].tmuxSession, u"api-db-3"_s);
        for (const PlannedWindow &window : plan.windows) // each attaches to its own
            QVERIFY(
                window.process.arguments.last().contains(u"'="_s + *window.tmuxSession + u":'"_s));
        const QString preview = RunPreview::of(plan, platform).text();
        QVERIFY(preview.contains(u"new-session -d -P -F '#{pane_id}' -s api-db-2"_s));
        QVERIFY(preview.contains(u"send-keys -t '=api-db-2:' -l -- python3"_s));
        // The editor's card: the start condition, the command, its wait with the command's delay
        // after it, then how the window attaches.
        const TabGroup &make = config.groups[1];
        const QString card = RunPreview::cardTexts(config, platform).at(1).value_or(u""_s);
        QVERIFY2(card.contains(u'\n' + PackedCommandBuilder::waitCommand(make.startWhen) +
                               u"\nmake\n"_s +
                               PackedCommandBuilder::waitCommand(make.commands[0].waitFor) +
                               u"\n# then waits 2 s\n"_s) &&
                     card.endsWith(
                         TmuxSessions::attachLine(TmuxClient(u"/usr/bin/tmux"_s), u"api-db"_s)),
                 qPrintable(card));

        config.terminalApp = TA::warp;
        QVERIFY(!RunPlan::typesThroughTmux(config, traits(config.terminalApp)));
    }

    void previewNamesWhatTheRunDoes_data()
    {
        QTest::addColumn<TerminalApp>("terminal");
        QTest::addColumn<QString>("typing");
        QTest::addColumn<QString>("problem"); // how the alert shown instead of a run begins
        QTest::newRow("packed") << TA::kitty << QString() << QString();
        QTest::newRow("scripted") << TA::appleTerminal << QString() << QString();
        QTest::newRow("not installed") << TA::wezterm << QString() << u"WezTerm"_s;
        QTest::newRow("no tmux") << TA::kitty << u"tmux"_s << u"tmux"_s;
    }

    // Whatever the preview names, the runner must then do, in order: each packed window with its
    // pause, each script with its wait. A run that cannot go ahead shows one alert and nothing
    // else, and the preview names it. The real binary's dry run, read back by real shells, is
    // driven in e2e/cli_e2e.py.
    void previewNamesWhatTheRunDoes()
    {
        QFETCH(TerminalApp, terminal);
        QFETCH(QString, typing);
        QFETCH(QString, problem);
        const AppConfig config{terminal,
                               {group(u"a"_s, {step(u"cd ~/app"_s, 1.5), step(u" "_s, 9),
                                               step(u"echo one\necho two"_s, 0.2)}),
                                group(u"b"_s, {step(u"ssh box"_s, 2), step(u"ls"_s)})},
                               typing};
        const RunPreview preview = RunPreview::of(config, platform);
        QCOMPARE(platform.calls, Calls{}); // nothing started, typed or shown

        TerminalRunner runner(platform, sleeper);
        run(runner, config);
        QVERIFY(preview.problem.startsWith(problem));
        if (!problem.isEmpty()) {
            QCOMPARE(platform.calls.size(), 1);
            QCOMPARE(preview.problem, platform.calls[0].values.join(u". "_s));
            QVERIFY(preview.text().isEmpty());
            return;
        }
        // The fake gives every scripted window the id 0.
        Calls previewed;
        for (const ProcessCommand &process : preview.processes)
            previewed << Call{u"startProcess"_s, QStringList{process.program} + process.arguments}
                      << wait(0.8);
        for (const RunPreview::ScriptedWindow &window : preview.scriptedWindows) {
            for (const RunPreview::Script &script : window.scripts) {
                QVERIFY(preview.text().contains(u'\n' + script.source + u'\n'));
                previewed << Call{u"appleScript"_s,
                                  {QString(script.source).replace(u"{window}"_s, u"0"_s)}}
                          << wait(std::chrono::duration<double>(script.waitAfter).count());
            }
        }
        QCOMPARE(previewed, platform.calls);
    }
};

QTEST_GUILESS_MAIN(TerminalRunnerTest)
#include "tst_terminalrunner.moc"
