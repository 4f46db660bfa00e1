// LinuxPlatform and BootTimeSleeper for real: fake terminals on a private PATH that record how
// they were started, a real QMessageBox and real timers.
#include "AlertCatcher.h"
#include "AutostartEntry.h"
#include "BootTimeSleeper.h"
#include "LinuxPlatform.h"
#include "TerminalRunner.h"
#include "TestHelpers.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QMessageBox>
#include <QProcess>
#include <QPushButton>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <csignal>
#include <unistd.h>

using namespace corvane;
using namespace corvane::testing;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

// Each start leaves one file of NUL-terminated fields: working directory, $CORVANE_PROBE, the
// mask of ignored signals, argv. Renamed into place, so a file that exists is complete. With
// $CORVANE_RUN_WINDOW set it then acts as a terminal without a window: sh runs the window command.
constexpr char recorder[] = R"sh(#!/bin/sh
out="$CORVANE_RECORDS/.$$"
{ printf '%s\0' "$PWD" "$CORVANE_PROBE" "$(/bin/sed -n 's/^SigIgn:\t//p' /proc/$$/status)" "$0"
  for a in "$@"; do printf '%s\0' "$a"; done; } > "$out"
/bin/mv "$out" "$CORVANE_RECORDS/record.$$"
if [ -n "$CORVANE_RUN_WINDOW" ]; then for a in "$@"; do w=$a; done; exec /bin/sh -c "$w"; fi
)sh";

class LinuxPlatformTest final : public QObject {
    Q_OBJECT

    QTemporaryDir bin, records, config;
    LinuxPlatform platform;

    // Waits for `count` starts; gives their fields (the mask checked and dropped), sorted.
    QList<QStringList> takeRecords(int count)
    {
        QDir dir(records.path());
        const auto names = [&] { return dir.entryList({u"record.*"_s}, QDir::Files); };
        [&] { QTRY_COMPARE_WITH_TIMEOUT(names().size(), count, 10000); }();
        QList<QStringList> result;
        for (const QString &name : names()) {
            QFile file(dir.filePath(name));
            QStringList fields = file.open(QIODevice::ReadOnly)
                                     ? QString::fromUtf8(file.readAll()).split(QChar(0))
                                     : QStringList{};
            fields.removeLast(); // after the final terminator
            // No standard signal (1-31) may stay ignored; glibc keeps its real-time ones.
            if ((fields.takeAt(2).toULongLong(nullptr, 16) & 0x7FFFFFFF) != 0)
                fields.append(u"a signal is ignored"_s);
            result.append(fields);
            file.remove();
        }
        std::sort(result.begin(), result.end());
        return result;
    }

    QStringList start(const QString &name, const QStringList &arguments)
    {
        return QStringList{QDir::currentPath(), u"inherited"_s, bin.filePath(name)} + arguments;
    }

private Q_SLOTS:
    void initTestCase()
    {
        // Only the fakes can be found: real terminals of this machine must not be picked up.
        qputenv("PATH", QFile::encodeName(bin.path()));
        qputenv("CORVANE_RECORDS", QFile::encodeName(records.path()));
        qputenv("CORVANE_PROBE", "inherited");
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(config.path()));
        for (const QString &name : {u"wezterm"_s, u"foot"_s, u"xdg-open"_s, u"gnome-terminal"_s})
            QVERIFY(writeExecutable(bin.filePath(name), recorder));
    }

    void cleanup()
    {
        qunsetenv("TERMINAL");
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(config.path()));
        QFile::remove(bin.filePath(u"gsettings"_s));
        qunsetenv("CORVANE_RUN_WINDOW");
        QFile::remove(bin.filePath(u"x-terminal-emulator"_s));
    }

    // A terminal is its program on PATH, which opens the window itself; Terminal and iTerm2 never
    // exist here, and nor does AppleScript.
    void terminalsAreProgramsOnPath()
    {
        QStringList looked;
        const LinuxPlatform stood({.findProgram = [&](const QString &name) {
            looked.append(name);
            return name == u"warp-terminal" ? u"/u/warp"_s : QString();
        }});
        QCOMPARE(stood.terminalLocation(TerminalApp::warp), u"/u/warp"_s);
        QCOMPARE(stood.terminalLocation(TerminalApp::mateTerminal), std::nullopt);
        QCOMPARE(stood.terminalLocation(TerminalApp::iterm2), std::nullopt);
        QCOMPARE(looked, (QStringList{u"warp-terminal"_s, u"mate-terminal"_s}));
        QVERIFY(!stood.supports(TerminalApp::appleTerminal) && stood.supports(TerminalApp::foot));
        QCOMPARE(stood.newWindowCommand(TerminalApp::foot, u"/u/foot"_s, {u"-T"_s, u"x"_s}),
                 (ProcessCommand{u"/u/foot"_s, {u"-T"_s, u"x"_s}}));
        QVERIFY(std::holds_alternative<std::monostate>(platform.executeAppleScript(u"1"_s)));
    }

    // In the folder asked for, or Corvane's; URLs go to xdg-open where the desktop services
    // refuse them (offscreen), as for Warp's launch file.
    void startProcessIsDetachedAndClean()
    {
        std::signal(SIGHUP, SIG_IGN); // as under nohup: must not reach the user's shells
        const QStringList odd{u"two\nlines 'q' \"d\" \\ é"_s, {}};
        QCOMPARE(platform.startProcess({bin.filePath(u"wezterm"_s), odd}), std::nullopt);
        std::signal(SIGHUP, SIG_DFL);
        QCOMPARE(takeRecords(1), QList<QStringList>{start(u"wezterm"_s, odd)});
        QCOMPARE(platform.startProcess({bin.filePath(u"foot"_s), {}, config.path()}), std::nullopt);
        QCOMPARE(takeRecords(1).value(0).value(0), config.path());
        const QString url = u"warp://launch/%2Fa%20b"_s;
        platform.openUrl(QUrl(url));
        QCOMPARE(takeRecords(1), (QList<QStringList>{start(u"xdg-open"_s, {url})}));
        const auto zombies = [] { // an exited terminal must not linger as our zombie
            QProcess ps;
            ps.start(u"/bin/ps"_s, {u"--ppid"_s, QString::number(::getpid()), u"-o"_s, u"stat="_s});
            return ps.waitForFinished() ? ps.readAllStandardOutput().count('Z') : -1;
        };
        QTRY_COMPARE(zombies(), 0);
        const QString noFile = u"No such file or directory"_s, denied = u"Permission denied"_s;
        QCOMPARE(platform.startProcess({u"/nonexistent/kitty"_s, {}}), noFile);
        QCOMPARE(platform.startProcess({u"no-such-terminal"_s, {}}), noFile);
        QCOMPARE(platform.startProcess({u"/tmp"_s, {}}), denied);
        QCOMPARE(platform.startProcess({u"/etc/passwd"_s, {}}), denied); // not executable
    }

    void alertIsAModalWarningWithOneButton()
    {
        QStringList seen;
        QTimer::singleShot(0, this, [&] {
            auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget());
            QVERIFY(box);
            seen = {box->text(), box->informativeText(), QString::number(box->icon()),
                    QString::number(box->buttons().size())};
            box->buttons().first()->click();
        });
        platform.showAlert(u"kitty isn’t installed"_s, u"one\n\ntwo"_s);
        QCOMPARE(seen, (QStringList{u"kitty isn’t installed"_s, u"one\n\ntwo"_s,
                                    QString::number(QMessageBox::Warning), u"1"_s}));
    }

    // A terminal that ends before the pause after its window is over ends the run when it failed,
    // quoting what it last said; a clean exit (it handed the window to a running instance) lets
    // the run go on, and so does a failure after the pause or a stop, which is no end.
    void terminalEndingRightAfterStart()
    {
        qputenv("CORVANE_RUN_WINDOW", "1");
        const QString launch = u"Couldn’t run your commands: Couldn’t launch GNOME Terminal: "_s;
        const QString stopped = records.filePath(u"stopped"_s);
        using K = ProcessEnd::Kind;
        const std::tuple<QStringList, int, QString, ProcessEnd> cases[] = {
            {{u"exit 0"_s, u"/bin/sleep 2; exit 3"_s}, 2, {}, {K::exited, 3}},
            {{u"printf 'a\n%0400d\n\n' 0 >&2; echo \"# Can't open display: :99 \" >&2; exit 1"_s,
              u"exit 0"_s},
             1,
             launch +
                 u"it exited with status 1 right after starting.\n\n# Can't open display: :99"_s,
             {K::exited, 1, u"# Can't open display: :99"_s}},
            {{u"printf '%0400d' 7 >&2; kill -KILL $$"_s, u"exit 0"_s},
             1,
             launch + u"it was stopped by signal 9 right after starting.\n\n…"_s +
                 QString(299, u'0') + u'7',
             {K::signalled, 9, u"…"_s + QString(299, u'0') + u'7'}},
            {{u"echo $$ > "_s + stopped + u"; kill -STOP $$"_s}, 1, {}, {K::signalled, 9}},
        };
        for (const auto &[commands, started, alertShown, lastEnd] : cases) {
            QList<TabGroup> groups;
            for (const QString &command : commands)
                groups.append(group(command, {step(command)}));
            AlertCatcher alerts;
            BootTimeSleeper sleeper;
            TerminalRunner runner(platform, sleeper);
            runner.runAll({TerminalApp::gnomeTerminal, groups});
            QTRY_VERIFY_WITH_TIMEOUT(!runner.isRunning(), 10000);
            QCOMPARE(alerts.seen.join(u"|"), alertShown);
            QCOMPARE(takeRecords(started).size(), started);
            if (QFile pid(stopped); pid.open(QIODevice::ReadOnly)) {
                const auto end = platform.endOfLastStarted();
                ::kill(pid.readAll().trimmed().toInt(), SIGKILL);
                pid.remove();
                QCOMPARE(end, std::nullopt); // stopped, not ended
            }
            QTRY_COMPARE_WITH_TIMEOUT(platform.endOfLastStarted(), std::optional(lastEnd), 10000);
        }
    }

    // The desktop's choices in their order; names of no known terminal are left out. Files are
    // "home/<name>" (XDG_CONFIG_HOME) or "dirs/<name>" (XDG_CONFIG_DIRS) with their text.
    void desktopsPreferredTerminals_data()
    {
        QTest::addColumn<QString>("terminal"); // $TERMINAL, null: unset
        QTest::addColumn<QString>("desktop");  // $XDG_CURRENT_DESKTOP
        QTest::addColumn<QStringList>("files");
        QTest::addColumn<QString>("gsettings");   // what a stand-in prints; empty: none
        QTest::addColumn<QString>("alternative"); // x-terminal-emulator's target; empty: none
        QTest::addColumn<QStringList>("expected");
        const QString kitty = u"kitty"_s, konsole = u"konsole"_s, gnome = u"gnomeTerminal"_s,
                      tilix = u"tilix"_s, xterm = u"xterm"_s, foot = u"foot"_s;
        QTest::newRow("nothing") << QString() << QString() << QStringList() << QString()
                                 << QString() << QStringList();
        QTest::newRow("TERMINAL, lists, GNOME, alternative, desktop")
            << u"/opt/kitty -1"_s << u"ubuntu:GNOME"_s
            << QStringList{u"dirs/xdg-terminals.list=org.gnome.Terminal.desktop"_s,
                           u"home/xdg-terminals.list=# mine\nAlacritty.desktop:new-window\n"_s,
                           u"home/gnome-xdg-terminals.list=org.wezfurlong.wezterm.desktop"_s,
                           u"dirs/ubuntu-xdg-terminals.list=\nurxvt.desktop\nkitty.desktop"_s}
            << u"'tilix'"_s << u"gnome-terminal.wrapper"_s
            << QStringList{kitty, u"wezterm"_s, u"alacritty"_s, gnome, tilix};
        QTest::newRow("KDE, GNOME's setting ignored")
            << QString() << u"KDE"_s
            << QStringList{u"home/kdeglobals=[General]\nTerminalApplication=xterm -e\n"_s,
                           u"dirs/kdeglobals=[General]\nTerminalApplication=foot\n"_s}
            << u"'tilix'"_s << QString() << QStringList{xterm, konsole};
        QTest::newRow("KDE service, other group")
            << QString() << u"KDE"_s
            << QStringList{u"home/kdeglobals=[X]\nTerminalApplication=xterm\n[General]\n"
                           u"TerminalService=org.codeberg.dnkl.foot.desktop\n"_s}
            << QString() << u"konsole"_s << QStringList{foot, konsole};
        QTest::newRow("unknown, XFCE") << u"st -e"_s << u"XFCE"_s << QStringList() << QString()
                                       << u"st"_s << QStringList{u"xfce4Terminal"_s};
    }

    void desktopsPreferredTerminals()
    {
        QFETCH(QString, terminal);
        QFETCH(QString, desktop);
        QFETCH(QStringList, files);
        QFETCH(QString, gsettings);
        QFETCH(QString, alternative);
        if (!terminal.isNull())
            qputenv("TERMINAL", terminal.toUtf8());
        qputenv("XDG_CURRENT_DESKTOP", desktop.toUtf8());
        QTemporaryDir home, dirs, elsewhere;
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(home.path()));
        qputenv("XDG_CONFIG_DIRS", QFile::encodeName(dirs.path()));
        for (const QString &file : files) {
            const QString name = file.section(u'=', 0, 0), text = file.section(u'=', 1);
            QVERIFY(writeExecutable(
                (name.startsWith(u"home/") ? home : dirs).filePath(name.section(u'/', 1)),
                text.toUtf8()));
        }
        if (!gsettings.isEmpty())
            QVERIFY(writeExecutable(bin.filePath(u"gsettings"_s),
                                    "#!/bin/sh\n[ \"$*\" = 'get org.gnome.desktop.default-"
                                    "applications.terminal exec' ] && echo \"" +
                                        gsettings.toUtf8() + "\"\n"));
        // As on Debian: /usr/bin/x-terminal-emulator -> /etc/alternatives/x-terminal-emulator ->
        // the terminal's executable, which lies off PATH.
        if (!alternative.isEmpty()) {
            const QString target = elsewhere.filePath(alternative);
            const QString alternatives = elsewhere.filePath(u"x-terminal-emulator"_s);
            QVERIFY(writeExecutable(target, "#!/bin/sh\n"));
            QVERIFY(QFile::link(target, alternatives) &&
                    QFile::link(alternatives, bin.filePath(u"x-terminal-emulator"_s)));
        }
        QStringList preferred;
        for (TerminalApp app : platform.preferredTerminals())
            preferred.append(rawValue(app));
        QTEST(preferred, "expected");
    }

    // The autostart entry is the setting (the editor's boxes write and remove it in
    // e2e/cli_e2e.py): a desktop's own switch turns it off; a folder that cannot be made is
    // reported, and nothing is set.
    void loginStartIsTheAutostartEntry()
    {
        const QString path = config.filePath(u"autostart/corvane.desktop"_s);
        for (const QString &mark : {u"Hidden=true"_s, u"X-GNOME-Autostart-enabled=false"_s}) {
            QCOMPARE(platform.setLoginStart(LoginStart::start), std::nullopt);
            QCOMPARE(platform.loginStart(), LoginStart::start);
            QFile file(path);
            QCOMPARE(file.permissions() & 0x0FFF, QFile::Permissions(0x0644)); // as desktop entries
            QVERIFY(file.open(QIODevice::Append) && file.write(mark.toUtf8() + '\n') > 0);
            file.close();
            QCOMPARE(platform.loginStart(), LoginStart::off);
        }
        QFile blocker(config.filePath(u"autostart"_s));
        QVERIFY(QDir(blocker.fileName()).removeRecursively() && blocker.open(QIODevice::WriteOnly));
        blocker.close();
        QVERIFY(platform.setLoginStart(LoginStart::start).has_value());
        QCOMPARE(platform.loginStart(), LoginStart::off);
        QVERIFY(blocker.remove());
    }

    // GLib, the reader of GNOME and others, takes the entry and starts exactly this program with
    // `run`, wherever it lies; desktop-file-validate finds nothing to say. (A '%' is written as
    // the format's "%%", which GLib 2.74 fails to undo when it looks for the program: it drops
    // such an entry.)
    void autostartEntryStartsThisProgram()
    {
        // Every character that needs quoting, a backslash pair last (just before the quote).
        const QString folder = u"my apps it's \"q\" $HOME `x` a ; <&> #~*?()| back\\slash\\\\"_s;
        const QString python = QStandardPaths::findExecutable(u"python3"_s, {u"/usr/bin"_s});
        const QString validator =
            QStandardPaths::findExecutable(u"desktop-file-validate"_s, {u"/usr/bin"_s});
        if (python.isEmpty() || validator.isEmpty())
            QSKIP("needs python3-gi and desktop-file-utils");
        QTemporaryDir dir;
        const QString program = dir.filePath(folder + u"/corvane"_s);
        const QString entry = dir.filePath(u"corvane.desktop"_s);
        QVERIFY(QDir().mkpath(dir.filePath(folder)) &&
                writeExecutable(program, "#!/bin/sh\nprintf '%s\\n' \"$0\" \"$@\"\n"));
        QCOMPARE(AutostartEntry::write(entry, LoginStart::startAndRun, program), std::nullopt);
        QCOMPARE(AutostartEntry::read(entry), LoginStart::startAndRun);
        const auto output = [](const QString &program, const QStringList &arguments) {
            QProcess process;
            process.start(program, arguments);
            process.waitForFinished();
            return QString::number(process.exitCode()) + u' ' +
                   QString::fromUtf8(process.readAll() + process.readAllStandardError());
        };
        QCOMPARE(output(validator, {entry}), u"0 "_s);
        // As a desktop launches it, waiting for the program, whose output is GLib's.
        QCOMPARE(output(python, {u"-c"_s, uR"py(
import sys, os, gi
gi.require_version("Gio", "2.0")
from gi.repository import Gio, GLib
app = Gio.DesktopAppInfo.new_from_filename(sys.argv[1])
assert app, "GLib refuses the entry"
pids = []
app.launch_uris_as_manager([], None, GLib.SpawnFlags.DO_NOT_REAP_CHILD, None, None,
                           lambda *a: pids.append(a[1]), None)
os.waitpid(pids[0], 0)
)py"_s,
                                 entry}),
                 u"0 "_s + program + u"\nrun\n"_s);
    }

    void bootTimeWaitKeepsTheLoopServingAndIsNeverShort()
    {
        struct State {
            QElapsedTimer clock;
            bool timerFired = false, firedBeforeWake = false;
            qint64 slept = -1;
        } s;
        BootTimeSleeper sleeper;
        QTimer::singleShot(0, this, [&] { s.timerFired = true; });
        s.clock.start();
        // The state comes in by reference: a capturing lambda's closure would be gone by the time
        // the wait resumes the coroutine.
        auto task = [](BootTimeSleeper &sleeper, State &s) -> QCoro::Task<> {
            co_await sleeper.sleepFor(300ms + 123us);
            s.firedBeforeWake = s.timerFired;
            s.slept = s.clock.nsecsElapsed();
        }(sleeper, s);
        QVERIFY(!task.isReady());
        QTRY_VERIFY_WITH_TIMEOUT(task.isReady(), 10000);
        QVERIFY(s.firedBeforeWake);
        QVERIFY2(s.slept >= 300'123'000, qPrintable(QString::number(s.slept)));
        // Nothing to wait for ends at once.
        QVERIFY(sleeper.sleepFor(0ns).isReady() &&
                sleeper.sleepFor(std::chrono::nanoseconds::min()).isReady());
    }
};

QTEST_MAIN(LinuxPlatformTest)
#include "tst_linuxplatform.moc"
