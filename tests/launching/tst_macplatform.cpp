// The macOS platform without its Cocoa calls, run here for real: stand-ins for osascript and
// `open` that record what they were given, real process starts, real alerts and real timers.
#include "AppleScriptDriver.h"
#include "ContinuousClockSleeper.h"
#include "FakeSleeper.h"
#include "MacPlatform.h"
#include "PackedWindowLauncher.h"
#include "TerminalRunner.h"
#include "TestHelpers.h"

#include <QApplication>
#include <QDir>
#include <QMessageBox>
#include <QPushButton>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

using namespace corvane;
using namespace corvane::testing;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

const QString zsh = u"/bin/zsh"_s;
const QString runFailed = u"Couldn’t run your commands"_s;

QByteArray readAll(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class MacPlatformTest final : public QObject {
    Q_OBJECT

    QTemporaryDir bin;
    QStringList log; // activations and alerts, in the order they happened

    MacPlatform::System system(const QHash<QString, QString> &bundles = {})
    {
        MacPlatform::System result;
        result.findApplication = [bundles](const QString &id) -> std::optional<QString> {
            return bundles.contains(id) ? std::optional(bundles.value(id)) : std::nullopt;
        };
        result.activate = [this] { log.append(u"activate"_s); };
        result.open = bin.filePath(u"open"_s);
        result.osascript = bin.filePath(u"osascript"_s);
        return result;
    }

    // Answers the next alert once it is on screen, whichever event loop is running then.
    void answerNextAlert()
    {
        auto *poll = new QTimer(this);
        connect(poll, &QTimer::timeout, this, [this, poll] {
            auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget());
            if (!box)
                return;
            poll->deleteLater();
            log.append(u"alert: "_s + box->text() + u" | "_s + box->informativeText());
            box->buttons().constFirst()->click();
        });
        poll->start(10);
    }

    // Runs `config` to its end; gives the log.
    QStringList run(MacPlatform &platform, Sleeper &sleeper, const AppConfig &config)
    {
        log.clear();
        answerNextAlert();
        TerminalRunner runner(platform, sleeper);
        auto task = runner.runAll(config);
        [&] { QTRY_VERIFY_WITH_TIMEOUT(task.isReady(), 20000); }();
        return log;
    }

private Q_SLOTS:
    void init()
    {
        for (const QString &name : QDir(bin.path()).entryList(QDir::Files))
            QFile::remove(bin.filePath(name));
    }
    void cleanup() { qDeleteAll(findChildren<QTimer *>()); }

    void packedWindowsOpenWithTheRecipesCommandLines()
    {
        MacPlatform platform(system({{u"net.kovidgoyal.kitty"_s, u"/Applications/kitty.app"_s},
                                     {u"com.github.wez.wezterm"_s, u"/Applications/WezTerm.app"_s},
                                     {u"org.alacritty"_s, u"/Applications/Alacritty.app"_s}}));
        const QString w = u"make 'it' \"run\"\nnow; exec /bin/zsh -il"_s;
        const QString open = bin.filePath(u"open"_s);
        const std::pair<TerminalApp, QStringList> rows[] = {
            {TerminalApp::ghostty,
             {open, u"-na"_s, u"Ghostty.app"_s, u"--args"_s, u"-e"_s, zsh, u"-ilc"_s, w}},
            {TerminalApp::tabby,
             {open, u"-na"_s, u"Tabby.app"_s, u"--args"_s, u"run"_s, zsh, u"-ilc"_s, w}},
            {TerminalApp::kitty,
             {u"/Applications/kitty.app/Contents/MacOS/kitty"_s, u"--single-instance"_s, zsh,
              u"-ilc"_s, w}},
            {TerminalApp::wezterm,
             {u"/Applications/WezTerm.app/Contents/MacOS/wezterm"_s, u"start"_s,
              u"--always-new-process"_s, u"--"_s, zsh, u"-ilc"_s, w}},
            {TerminalApp::alacritty,
             {u"/Applications/Alacritty.app/Contents/MacOS/alacritty"_s, u"-e"_s, zsh, u"-ilc"_s,
              w}},
        };
        PackedWindowLauncher launcher(platform);
        for (const auto &[terminal, expected] : rows) {
            const auto process = launcher.windowProcess(u"make 'it' \"run\"\nnow"_s, terminal);
            QVERIFY(std::holds_alternative<ProcessCommand>(process));
            const auto &command = std::get<ProcessCommand>(process);
            QCOMPARE(QStringList{command.program} + command.arguments, expected);
        }
        // `open` finds Ghostty by itself; a bundled binary needs its bundle.
        MacPlatform bare(system());
        QVERIFY(std::holds_alternative<ProcessCommand>(
            PackedWindowLauncher(bare).windowProcess(u"x"_s, TerminalApp::ghostty)));
        QCOMPARE(std::get<ScriptError>(
                     PackedWindowLauncher(bare).windowProcess(u"x"_s, TerminalApp::alacritty)),
                 (ScriptError{0, u"Alacritty doesn’t seem to be installed."_s}));
    }

    void whatAMacProvides()
    {
        QTemporaryDir data;
        qputenv("XDG_DATA_HOME", QFile::encodeName(data.path())); // the stand-in for ~/Library
        qputenv("SHELL", "/bin/bash");
        qputenv("TERMINAL", "kitty");
        MacPlatform platform(system({{u"com.apple.Terminal"_s, u"/System/Terminal.app"_s}}));
        QCOMPARE(platform.applicationSupportDirectory(),
                 QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation));
        QCOMPARE(platform.applicationSupportDirectory(), data.path());
        QCOMPARE(platform.applicationLocation(u"com.apple.Terminal"_s), u"/System/Terminal.app"_s);
        QCOMPARE(platform.applicationLocation(u"com.googlecode.iterm2"_s), std::nullopt);
        QCOMPARE(platform.windowShell(), zsh); // whatever the user's shell
        QVERIFY(platform.canTypeIntoTerminals() && platform.trayIconIsTemplate());
        QVERIFY(platform.preferredTerminals().isEmpty());
        qunsetenv("TERMINAL");
    }

    void appleScriptRunGoesThroughOsascript()
    {
        // Numbers its scripts; answers a window id to the scripts that open a window.
        QVERIFY(writeExecutable(bin.filePath(u"osascript"_s), R"sh(#!/bin/sh
n=$(ls "$0".script.* 2>/dev/null | wc -l)
cat > "$0.script.$n"
case "$(cat "$0.script.$n")" in *"return id"*) echo 4711 ;; esac
)sh"));
        MacPlatform platform(system({{u"com.apple.Terminal"_s, u"/System/Terminal.app"_s}}));
        FakeSleeper sleeper;
        QCOMPARE(run(platform, sleeper,
                     {TerminalApp::appleTerminal,
                      {group(u"a"_s, {step(u"cd ~/app"_s), step(u"echo \"é\""_s, 2)})}}),
                 QStringList{});
        const QString script = bin.filePath(u"osascript.script."_s);
        QCOMPARE(readAll(script + u'0'),
                 AppleScriptDriver::openScript(u"cd ~/app"_s, TerminalApp::appleTerminal).toUtf8());
        QCOMPARE(readAll(script + u'1'),
                 AppleScriptDriver::runScript(u"echo \"é\""_s, 4711, TerminalApp::appleTerminal)
                     .toUtf8());
        QCOMPARE(sleeper.seconds, (QList<double>{0.5, 2}));
    }

    void scriptFailuresReachTheirAlerts_data()
    {
        QTest::addColumn<QByteArray>("report");
        QTest::addColumn<QString>("alert");
        QTest::newRow("permission denied")
            << QByteArray("0:35: execution error: Terminal got an error: Not authorized to send "
                          "Apple events to Terminal. (-1743)")
            << u"Corvane isn’t allowed to control your terminal app | Grant permission in System "
               u"Settings → Privacy & Security → Automation → Corvane, and enable your terminal "
               u"app there.\n\nIf Corvane isn’t listed there, run this in a terminal and try "
               u"again:\ntccutil reset AppleEvents io.github.corvane.Corvane"_s;
        QTest::newRow("other error") << QByteArray("0:35: execution error: Terminal got an error: "
                                                   "Can’t get window 1. (-1728)")
                                     << runFailed + u" | Terminal got an error: Can’t get window "
                                                    u"1. (error -1728)"_s;
        QTest::newRow("unreadable report")
            << QByteArray("osascript: something broke")
            << runFailed + u" | Unknown AppleScript error. (error 0)"_s;
    }
    void scriptFailuresReachTheirAlerts()
    {
        QFETCH(QByteArray, report);
        QFETCH(QString, alert);
        QVERIFY(writeExecutable(bin.filePath(u"osascript"_s),
                                "#!/bin/sh\ncat > /dev/null\necho '" + report + "' >&2\nexit 1\n"));
        MacPlatform platform(system({{u"com.apple.Terminal"_s, u"/System/Terminal.app"_s}}));
        FakeSleeper sleeper;
        // The application comes to the front before its alert, or the alert opens behind.
        QCOMPARE(
            run(platform, sleeper, {TerminalApp::appleTerminal, {group(u"a"_s, {step(u"ls"_s)})}}),
            (QStringList{u"activate"_s, u"alert: "_s + alert}));
        QVERIFY(sleeper.seconds.isEmpty());
    }

    void openExitStatusRightAfterStartEndsTheRun_data()
    {
        QTest::addColumn<int>("status");
        QTest::addColumn<QStringList>("packed");
        QTest::addColumn<QStringList>("alert");
        QTest::newRow("open succeeds") << 0 << QStringList{u"top"_s, u"pwd"_s} << QStringList{};
        QTest::newRow("application missing")
            << 1 << QStringList{u"top"_s}
            << QStringList{u"activate"_s, u"alert: "_s + runFailed +
                                              u" | Couldn’t launch Ghostty: it exited with status "
                                              u"1 right after starting. (error 0)"_s};
    }
    void openExitStatusRightAfterStartEndsTheRun()
    {
        QFETCH(int, status);
        QFETCH(QStringList, packed);
        QFETCH(QStringList, alert);
        // Each start appends its arguments, one a line.
        QVERIFY(writeExecutable(bin.filePath(u"open"_s),
                                "#!/bin/sh\nprintf '%s\\n' \"$@\" >> \"$0.log\"\nexit " +
                                    QByteArray::number(status) + "\n"));
        // Installed as far as Launch Services knows; `open` still has the last word.
        MacPlatform platform(
            system({{u"com.mitchellh.ghostty"_s, u"/Applications/Ghostty.app"_s}}));
        ContinuousClockSleeper sleeper;
        QCOMPARE(run(platform, sleeper,
                     {TerminalApp::ghostty,
                      {group(u"a"_s, {step(u"top"_s)}), group(u"b"_s, {step(u"pwd"_s)})}}),
                 alert);
        QStringList expected;
        for (const QString &script : packed)
            expected << u"-na"_s << u"Ghostty.app"_s << u"--args"_s << u"-e"_s << zsh << u"-ilc"_s
                     << script + u"; exec /bin/zsh -il"_s;
        QCOMPARE(QString::fromUtf8(readAll(bin.filePath(u"open.log"_s)))
                     .split(u'\n', Qt::SkipEmptyParts),
                 expected);
    }

    void urlGoesToOpenWhenDesktopServicesRefuse()
    {
        QVERIFY(writeExecutable(bin.filePath(u"open"_s),
                                "#!/bin/sh\nprintf '%s\\n' \"$@\" > \"$0.log.tmp\"\n"
                                "mv \"$0.log.tmp\" \"$0.log\"\n"));
        MacPlatform platform(system());
        const QString url = u"warp://launch//Users/me/Library/Application%20Support/Corvane/"
                            u"warp_launch.yaml"_s;
        platform.openUrl(QUrl(url, QUrl::StrictMode));
        QTRY_COMPARE(readAll(bin.filePath(u"open.log"_s)), url.toUtf8() + '\n');
    }

    void waitIsNeverShortOnTheContinuousClock()
    {
        struct State {
            bool timerFired = false, firedBeforeWake = false, completed = false;
            std::chrono::nanoseconds slept{-1};
        } s;
        ContinuousClockSleeper sleeper;
        QTimer::singleShot(0, this, [&] { s.timerFired = true; });
        const auto start = ContinuousClockSleeper::continuousNow();
        // The state comes in by reference: a capturing lambda's closure would be gone by the time
        // the wait resumes the coroutine.
        auto task = [](ContinuousClockSleeper &sleeper, State &s,
                       std::chrono::nanoseconds start) -> QCoro::Task<> {
            s.completed = co_await sleeper.sleepFor(300ms + 123us);
            s.firedBeforeWake = s.timerFired;
            s.slept = ContinuousClockSleeper::continuousNow() - start;
        }(sleeper, s, start);
        QVERIFY(!task.isReady());
        QTRY_VERIFY_WITH_TIMEOUT(task.isReady(), 10000);
        QVERIFY(s.completed && s.firedBeforeWake);
        QVERIFY2(s.slept >= 300ms + 123us, qPrintable(QString::number(s.slept.count())));
        QVERIFY(sleeper.sleepFor(0ns).isReady() &&
                sleeper.sleepFor(std::chrono::nanoseconds::min()).isReady());
    }

    void waitAcrossASleepEndsAtTheNextTick()
    {
        // The clock jumps by an hour, as the continuous clock does across a sleep that the
        // event loop's timers do not see.
        std::chrono::nanoseconds slept{0};
        ContinuousClockSleeper sleeper(
            [&slept] { return ContinuousClockSleeper::continuousNow() + slept; }, 20ms);
        bool wokeBeforeJump = false;
        auto task = [](ContinuousClockSleeper &sleeper) -> QCoro::Task<bool> {
            co_return co_await sleeper.sleepFor(1h);
        }(sleeper);
        QTimer::singleShot(200ms, this, [&] {
            wokeBeforeJump = task.isReady();
            slept = 1h;
        });
        QTRY_VERIFY_WITH_TIMEOUT(task.isReady(), 10000);
        QVERIFY(!wokeBeforeJump);
    }
};

QTEST_MAIN(MacPlatformTest)
#include "tst_macplatform.moc"
