// The macOS platform without its Cocoa calls, run here for real: stand-ins for osascript and
// `open` that record what they were given, real process starts, real alerts and real timers.
#include "AlertCatcher.h"
#include "AppleScriptDriver.h"
#include "ContinuousClockSleeper.h"
#include "FakeSleeper.h"
#include "MacPlatform.h"
#include "RunPlan.h"
#include "TerminalRunner.h"
#include "TestHelpers.h"

#include <QTemporaryDir>
#include <QTest>

using namespace corvane;
using namespace corvane::testing;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

const QString zsh = u"/bin/zsh"_s;

QByteArray readAll(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class MacPlatformTest final : public QObject {
    Q_OBJECT

    QTemporaryDir bin;
    AlertCatcher alerts; // activations join its list, so that their order shows

    // Every application is installed, as /A/<its bundle identifier>, or none is.
    MacPlatform::System system(bool installed = true)
    {
        MacPlatform::System result;
        result.findApplication = [installed](const QString &id) {
            return installed ? std::optional(u"/A/"_s + id) : std::nullopt;
        };
        result.activate = [this] { alerts.seen.append(u"activate"_s); };
        result.open = bin.filePath(u"open"_s);
        result.osascript = bin.filePath(u"osascript"_s);
        return result;
    }

    // Runs `config` to its end; gives the activations and alerts.
    QStringList run(MacPlatform &platform, Sleeper &sleeper, const AppConfig &config)
    {
        alerts.seen.clear();
        TerminalRunner runner(platform, sleeper);
        auto task = runner.runAll(config);
        [&] { QTRY_VERIFY_WITH_TIMEOUT(task.isReady(), 20000); }();
        return alerts.seen;
    }

private Q_SLOTS:
    // A stand-in `open` that keeps the arguments of its last call, one a line, and fails.
    void initTestCase()
    {
        QVERIFY(writeExecutable(
            bin.filePath(u"open"_s),
            "#!/bin/sh\nprintf '%s\\n' \"$@\" > \"$0.tmp\"\nmv \"$0.tmp\" \"$0.log\"\nexit 1\n"));
    }

    // Ghostty and Tabby are left to `open`; the others start from inside their bundles.
    void packedWindowsOpenWithTheRecipesCommandLines()
    {
        MacPlatform platform(system());
        const QString open = bin.filePath(u"open"_s), macos = u"/Contents/MacOS/"_s;
        const std::pair<TerminalApp, QString> rows[] = {
            {TerminalApp::ghostty, open + u" -na Ghostty.app --args -e"_s},
            {TerminalApp::tabby, open + u" -na Tabby.app --args run"_s},
            {TerminalApp::kitty,
             u"/A/net.kovidgoyal.kitty"_s + macos + u"kitty --single-instance"_s},
            {TerminalApp::wezterm,
             u"/A/com.github.wez.wezterm"_s + macos + u"wezterm start --always-new-process --"_s},
            {TerminalApp::alacritty, u"/A/org.alacritty"_s + macos + u"alacritty -e"_s},
        };
        const QString script = u"make 'it' \"run\"\nnow"_s;
        const QStringList shell{zsh, u"-ilc"_s,
                                u"trap : INT; "_s + script + u"; exec /bin/zsh -il"_s};
        const auto planOf = [&](MacPlatform &on, TerminalApp terminal) {
            return RunPlan::of({terminal, {group(QString(), {step(script)})}}, on);
        };
        for (const auto &[terminal, head] : rows) {
            const RunPlan plan = planOf(platform, terminal);
            QCOMPARE(plan.windows.size(), 1);
            const ProcessCommand &command = plan.windows[0].process;
            QCOMPARE(QStringList{command.program} + command.arguments, head.split(u' ') + shell);
        }
        MacPlatform bare(system(false));
        QVERIFY(!planOf(bare, TerminalApp::alacritty).installed);
    }

    // The window id that osascript printed goes into the next script; a refusal of Apple events
    // brings Corvane to the front (or the alert opens behind) with the permission alert.
    void appleScriptRunGoesThroughOsascript()
    {
        QVERIFY(writeExecutable(bin.filePath(u"osascript"_s), R"sh(#!/bin/sh
n=$(ls "$0".script.* 2>/dev/null | wc -l)
cat > "$0.script.$n"
case "$(cat "$0.script.$n")" in *"return id"*) echo 4711; exit ;; esac
echo '0:5: execution error: Not authorized to send Apple events. (-1743)' >&2
exit 1
)sh"));
        MacPlatform platform(system());
        FakeSleeper sleeper;
        // The alert's text is the runner's own, checked with it.
        QCOMPARE(run(platform, sleeper,
                     {TerminalApp::appleTerminal,
                      {group(u"a"_s, {step(u"cd ~/app"_s), step(u"echo \"é\""_s)})}})
                     .join(u'|')
                     .section(u':', 0, 0),
                 u"activate|Corvane isn’t allowed to control your terminal app"_s);
        const QString script = bin.filePath(u"osascript.script."_s);
        QCOMPARE(readAll(script + u'0'),
                 AppleScriptDriver::openScript(u"cd ~/app"_s, TerminalApp::appleTerminal).toUtf8());
        QCOMPARE(readAll(script + u'1'),
                 AppleScriptDriver::runScript(u"echo \"é\""_s, 4711, TerminalApp::appleTerminal)
                     .toUtf8());
    }

    // Installed as far as Launch Services knows; `open` still has the last word.
    void openFailingRightAfterStartEndsTheRun()
    {
        MacPlatform platform(system());
        ContinuousClockSleeper sleeper;
        QCOMPARE(run(platform, sleeper,
                     {TerminalApp::ghostty,
                      {group(u"a"_s, {step(u"top"_s)}), group(u"b"_s, {step(u"pwd"_s)})}}),
                 (QStringList{u"activate"_s,
                              u"Couldn’t run your commands: Couldn’t launch Ghostty: it exited "
                              u"with status 1 right after starting. (error 0)"_s}));
        QCOMPARE(
            readAll(bin.filePath(u"open.log"_s)),
            "-na\nGhostty.app\n--args\n-e\n/bin/zsh\n-ilc\ntrap : INT; top; exec /bin/zsh -il\n");
    }

    void urlGoesToOpenWhenDesktopServicesRefuse()
    {
        MacPlatform platform(system(false));
        const QString url = u"warp://launch//Users/me/Library/Application%20Support/Corvane/"
                            u"warp_launch.yaml"_s;
        platform.openUrl(QUrl(url, QUrl::StrictMode));
        QTRY_COMPARE(readAll(bin.filePath(u"open.log"_s)), url.toUtf8() + '\n');
    }

    // ~/Library/Application Support itself (XDG_DATA_HOME stands in for it here), not a folder of
    // Corvane's own inside it.
    void applicationSupportIsTheLibraryFolder()
    {
        QTemporaryDir data;
        qputenv("XDG_DATA_HOME", QFile::encodeName(data.path()));
        QCOMPARE(MacPlatform(system()).applicationSupportDirectory(), data.path());
    }

    // Never short, serving the event loop meanwhile; and a wait across a sleep (the continuous
    // clock jumps by an hour that the loop's timers do not see) ends at the next tick.
    void continuousClockWaits()
    {
        std::chrono::nanoseconds slept{0};
        ContinuousClockSleeper sleeper(
            [&slept] { return ContinuousClockSleeper::continuousNow() + slept; }, 20ms);
        const auto timed = [](ContinuousClockSleeper &sleeper, std::chrono::nanoseconds duration,
                              std::chrono::nanoseconds &took) -> QCoro::Task<> {
            const auto start = ContinuousClockSleeper::continuousNow();
            co_await sleeper.sleepFor(duration);
            took = ContinuousClockSleeper::continuousNow() - start;
        };
        std::chrono::nanoseconds took{-1};
        auto task = timed(sleeper, 300ms + 123us, took);
        QVERIFY(!task.isReady());
        QTRY_VERIFY_WITH_TIMEOUT(task.isReady(), 10000);
        QVERIFY2(took >= 300ms + 123us, qPrintable(QString::number(took.count())));

        auto acrossSleep = sleeper.sleepFor(1h);
        QTest::qWait(200);
        QVERIFY(!acrossSleep.isReady());
        slept = 1h;
        QTRY_VERIFY_WITH_TIMEOUT(acrossSleep.isReady(), 10000);
    }
};

QTEST_MAIN(MacPlatformTest)
#include "tst_macplatform.moc"
