// The macOS platform without its Cocoa calls: stand-ins for osascript and `open` that answer as
// the real ones do on a Mac and record what they were given, real alerts and real timers.
#include "AlertCatcher.h"
#include "ContinuousClockSleeper.h"
#include "FakeSleeper.h"
#include "MacPlatform.h"
#include "TerminalRunner.h"
#include "TestHelpers.h"

#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

using namespace corvane;
using namespace corvane::testing;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

// One line per outcome, so that tables can name what they expect.
static QString describe(const AppleScriptOutcome &outcome)
{
    if (const auto *result = std::get_if<AppleScriptResult>(&outcome))
        return u"result %1"_s.arg(result->value);
    const auto &failure = std::get<AppleScriptFailure>(outcome); // throws on no outcome at all
    return u"failure %1 | %2"_s.arg(failure.number ? QString::number(*failure.number) : u"none"_s,
                                    failure.message.value_or(u"none"_s));
}

class MacPlatformTest final : public QObject {
    Q_OBJECT

    QTemporaryDir bin;
    AlertCatcher alerts; // activations and activities join its list, so that their order shows
    QMap<LoginItem, LoginItemStatus> items; // SMAppService's state of each login item
    std::optional<LoginItemStatus> refusal; // registering fails, leaving the item so
    QStringList itemCalls;                  // "+app", "-agent", ...

    // Every application is installed, as /A/<its bundle identifier>.
    MacPlatform::System system()
    {
        MacPlatform::System result;
        result.findApplication = [](const QString &id) { return std::optional(u"/A/"_s + id); };
        result.activate = [this] { alerts.seen.append(u"activate"_s); };
        result.beginActivity = [this] {
            alerts.seen.append(u"activity begins"_s);
            return std::shared_ptr<void>(
                nullptr, [this](void *) { alerts.seen.append(u"activity ends"_s); });
        };
        result.loginItemStatus = [this](LoginItem item) { return items.value(item); };
        result.registerLoginItem = [this](LoginItem item, bool add) -> std::optional<QString> {
            itemCalls.append((add ? u"+"_s : u"-"_s) +
                             (item == LoginItem::app ? u"app"_s : u"agent"_s));
            items[item] =
                add ? refusal.value_or(LoginItemStatus::enabled) : LoginItemStatus::notRegistered;
            return add && refusal ? std::optional(u"Operation not permitted"_s) : std::nullopt;
        };
        result.open = bin.filePath(u"open"_s);
        result.osascript = bin.filePath(u"osascript"_s);
        return result;
    }

    // A stand-in osascript that records its arguments, one a line, then the script it was given.
    void osascript(const QByteArray &body)
    {
        QVERIFY(writeExecutable(bin.filePath(u"osascript"_s),
                                "#!/bin/sh\nprintf '%s\\n' \"$@\" > \"$0.in\"\ncat >> \"$0.in\"\n" +
                                    body));
    }

private Q_SLOTS:
    // Launch Services finds a terminal by its bundle identifier; Tabby and Ghostty open a new
    // instance through `open`, the others start inside their bundles; Linux desktops' terminals do
    // not exist here. Application Support is that folder itself, not one of Corvane's inside it
    // (XDG_DATA_HOME stands in); a URL the desktop services refuse goes to `open`.
    void terminalsAndServices()
    {
        QVERIFY(writeExecutable(bin.filePath(u"open"_s),
                                "#!/bin/sh\nprintf '%s\\n' \"$@\" > \"$0.log\"\n"));
        QTemporaryDir data;
        qputenv("XDG_DATA_HOME", QFile::encodeName(data.path()));
        MacPlatform platform(system());
        QCOMPARE(platform.terminalLocation(TerminalApp::alacritty), u"/A/org.alacritty"_s);
        QCOMPARE(platform.terminalLocation(TerminalApp::konsole), std::nullopt);
        const QStringList arguments{u"run"_s, u"top"_s};
        QCOMPARE(platform.newWindowCommand(TerminalApp::tabby, u"/A/org.tabby"_s, arguments),
                 (ProcessCommand{bin.filePath(u"open"_s),
                                 QStringList{u"-na"_s, u"Tabby.app"_s, u"--args"_s} + arguments}));
        QCOMPARE(platform.newWindowCommand(TerminalApp::kitty, u"/A/kitty.app"_s, arguments),
                 (ProcessCommand{u"/A/kitty.app/Contents/MacOS/kitty"_s, arguments}));
        QCOMPARE(platform.applicationSupportDirectory(), data.path());
        const QString url = u"warp://launch//Users/me/Library/Application%20Support/x.yaml"_s;
        platform.openUrl(QUrl(url, QUrl::StrictMode));
        QTRY_COMPARE(readAll(bin.filePath(u"open.log"_s)), url.toUtf8() + '\n');
    }

    // What a stand-in osascript prints (stdout, or stderr with a non-zero exit) and the outcome
    // it must give. It is given the script on its standard input.
    void scriptOutcomes()
    {
        const auto fails = [](const char *report) {
            return "echo '" + QByteArray(report) + "' >&2\nexit 1\n";
        };
        const std::pair<QByteArray, QString> cases[] = {
            {"echo 'a log line' >&2\necho 4711\n", u"result 4711"_s},
            {"echo 1.2E+9\n", u"result 0"_s}, // AppleScript makes a real of an integer past 2^29
            // Lines printed before the report (a framework's warnings) are not part of it.
            {fails("x[1:2] error: warning (5)\n2:9: syntax error: Expected \"}\". (-2741)"),
             u"failure -2741 | Expected \"}\"."_s},
            // Localised, with parentheses of its own: only the group at the very end is the number.
            {fails("4:6: execution error: fenêtre (2) fermée. (-1728)"),
             u"failure -1728 | fenêtre (2) fermée."_s},
            {fails("LSOpenURLsWithRole() failed (-10810)"), u"failure -10810 | none"_s},
        };
        // What the driver sends: quotes, backslashes, line breaks and non-ASCII text.
        const QString source = u"tell application \"Terminal\"\n    do script \"echo \\\"é’\\\" "
                               u"\\\\ x\"\nend tell"_s;
        for (const auto &[body, expected] : cases) {
            osascript(body);
            QCOMPARE(describe(MacPlatform(system()).executeAppleScript(source)), expected);
            QCOMPARE(readAll(bin.filePath(u"osascript.in"_s)), "-\n" + source.toUtf8());
        }

        // As when macOS shows its permission question and nobody answers: the script is given up
        // at the deadline, and the loop serves meanwhile.
        osascript("exec sleep 60\n");
        MacPlatform::System stood = system();
        stood.scriptDeadline = 300ms;
        bool loopServed = false;
        QTimer::singleShot(0, this, [&] { loopServed = true; });
        const QString outcome = describe(MacPlatform(stood).executeAppleScript(u"1"_s));
        QVERIFY(loopServed);
        QVERIFY2(outcome.startsWith(u"failure -1712 | "_s), qPrintable(outcome));
    }

    // A refusal of Apple events brings Corvane to the front (or the alert opens behind) with the
    // permission alert; the run holds off App Nap from start to end.
    void refusedAppleEventsBringCorvaneForward()
    {
        osascript("echo '0:5: execution error: Not authorized to send Apple events. (-1743)' >&2\n"
                  "exit 1\n");
        MacPlatform platform(system());
        FakeSleeper sleeper;
        TerminalRunner runner(platform, sleeper);
        alerts.seen.clear();
        auto task = runner.runAll({TerminalApp::appleTerminal, {group(u"a"_s, {step(u"ls"_s)})}});
        QTRY_VERIFY_WITH_TIMEOUT(task.isReady(), 20000);
        QCOMPARE(alerts.seen,
                 (QStringList{u"activity begins"_s, u"activate"_s,
                              u"Corvane isn’t allowed to control your terminal app: Grant "
                              u"permission in System Settings → Privacy & Security → Automation "
                              u"→ Corvane, and enable your terminal app there.\n\nIf Corvane "
                              u"isn’t listed there, run this in a terminal and try again:\n"
                              u"tccutil reset AppleEvents io.github.corvane.Corvane"_s,
                              u"activity ends"_s}));
    }

    // Start at login is Corvane's own login item, Run at login the bundled agent that adds
    // `run`: never both, the unwanted one going first, and nothing is removed that is not there.
    // An item still to be allowed counts as set, and the editor says so; any other refusal is
    // reported and leaves neither item.
    void loginItems()
    {
        using enum LoginStart;
        using Status = std::optional<LoginItemStatus>;
        const std::tuple<LoginStart, Status, QString, LoginStart> steps[] = {
            {off, {}, QString(), off},
            {start, {}, u"+app"_s, start},
            {startAndRun, {}, u"-app +agent"_s, startAndRun},
            {off, {}, u"-agent"_s, off},
            {startAndRun, LoginItemStatus::requiresApproval, u"+agent"_s, startAndRun},
            {start, {}, u"-agent +app"_s, start},
            {startAndRun, LoginItemStatus::notRegistered, u"-app +agent"_s, off},
        };
        MacPlatform platform(system());
        for (const auto &[wanted, refused, calls, after] : steps) {
            refusal = refused;
            itemCalls.clear();
            const bool approval = refused == LoginItemStatus::requiresApproval;
            QCOMPARE(platform.setLoginStart(wanted).has_value(), refused && !approval);
            QCOMPARE(itemCalls.join(u' '), calls);
            QCOMPARE(platform.loginStart(), after);
            QCOMPARE(platform.loginStartNote().contains(u"Login Items"_s), approval);
        }
    }

    // A wait ends no earlier than the continuous clock says; and across a sleep (the clock jumps
    // by an hour that the loop's timers do not see) it ends at the next tick, not an hour later.
    void continuousClockWaits()
    {
        std::chrono::nanoseconds slept{0};
        int reads = 0;
        ContinuousClockSleeper sleeper(
            [&] { return ++reads, ContinuousClockSleeper::continuousNow() + slept; }, 20ms);
        auto acrossSleep = sleeper.sleepFor(1h);
        reads = 0;
        QTRY_VERIFY_WITH_TIMEOUT(reads >= 3, 10000); // it has ticked and looked at the clock
        QVERIFY(!acrossSleep.isReady());
        slept = 1h;
        QTRY_VERIFY_WITH_TIMEOUT(acrossSleep.isReady(), 10000);
    }
};

QTEST_MAIN(MacPlatformTest)
#include "tst_macplatform.moc"
