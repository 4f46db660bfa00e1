// LinuxPlatform and BootTimeSleeper for real: fake terminals on a private PATH that record how
// they were started, real alerts and real timers.
#include "AlertCatcher.h"
#include "AutostartEntry.h"
#include "BootTimeSleeper.h"
#include "LinuxPlatform.h"
#include "TerminalRunner.h"
#include "TestHelpers.h"

#include <QDir>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

using namespace corvane;
using namespace corvane::testing;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

// Each start leaves one file of NUL-terminated fields, renamed into place when complete: working
// directory, the standard signals (1-31) it ignores as a mask, argv. With $CORVANE_RUN_WINDOW set
// it then acts as a terminal without a window: sh runs the window command.
constexpr char recorder[] = R"sh(#!/bin/sh
out="$CORVANE_RECORDS/.$$" ignored=0x$(/bin/sed -n 's/^SigIgn:\t//p' /proc/$$/status)
{ printf '%s\0' "$PWD" $((ignored & 0x7FFFFFFF)) "$0"
  for a in "$@"; do printf '%s\0' "$a"; done; } > "$out"
/bin/mv "$out" "$CORVANE_RECORDS/record.$$"
if [ -n "$CORVANE_RUN_WINDOW" ]; then for a in "$@"; do w=$a; done; exec /bin/sh -c "$w"; fi
)sh";

class LinuxPlatformTest final : public QObject {
    Q_OBJECT

    QTemporaryDir bin, records, config;
    LinuxPlatform platform;

    // Waits for `count` starts and gives their fields by process id.
    QMap<int, QStringList> takeRecords(int count)
    {
        QDir dir(records.path());
        const auto names = [&] { return dir.entryList({u"record.*"_s}, QDir::Files); };
        [&] { QTRY_COMPARE_WITH_TIMEOUT(names().size(), count, 10000); }();
        QMap<int, QStringList> result;
        for (const QString &name : names()) {
            QStringList &fields = result[name.section(u'.', 1).toInt()];
            fields = QString::fromUtf8(readAll(dir.filePath(name))).split(QChar(0));
            fields.removeLast(); // after the final terminator
            QFile::remove(dir.filePath(name));
        }
        return result;
    }

private Q_SLOTS:
    void initTestCase()
    {
        // Only the fakes can be found: real terminals of this machine must not be picked up.
        qputenv("PATH", QFile::encodeName(bin.path()));
        qputenv("CORVANE_RECORDS", QFile::encodeName(records.path()));
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(config.path()));
        for (const QString &name : {u"wezterm"_s, u"foot"_s, u"gnome-terminal"_s})
            QVERIFY(writeExecutable(bin.filePath(name), recorder));
        QVERIFY(writeExecutable(bin.filePath(u"gsettings"_s),
                                "#!/bin/sh\n[ \"$*\" = 'get org.gnome.desktop.default-applications."
                                "terminal exec' ] && echo \"$CORVANE_GSETTINGS\"\n"));
    }

    void cleanup()
    {
        for (const char *name :
             {"TERMINAL", "XDG_CURRENT_DESKTOP", "CORVANE_RUN_WINDOW", "CORVANE_GSETTINGS"})
            qunsetenv(name);
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(config.path()));
        QFile::remove(bin.filePath(u"x-terminal-emulator"_s));
    }

    // A terminal is its program on PATH, started with the window's arguments as they are, with
    // no signal left ignored (under nohup, SIGHUP must not reach the user's shells), in the
    // folder asked for.
    void terminalsStartDetachedAndClean()
    {
        QCOMPARE(platform.terminalLocation(TerminalApp::foot), bin.filePath(u"foot"_s));
        QCOMPARE(platform.terminalLocation(TerminalApp::kitty), std::nullopt);
        QVERIFY(!platform.supports(TerminalApp::iterm2));
        // The last argument is what the stand-in runs, so that the terminal goes on running.
        const QStringList odd{u"two\nlines 'q' \"d\" \\ é"_s, {}, u"exec /bin/sleep 60"_s};

        qputenv("CORVANE_RUN_WINDOW", "1");
        std::signal(SIGHUP, SIG_IGN);
        QCOMPARE(platform.startProcess({u"wezterm"_s, odd, config.path()}), std::nullopt);
        std::signal(SIGHUP, SIG_DFL);
        const auto started = takeRecords(1);
        // glibc keeps its real-time signals ignored; none of the standard ones may stay so.
        const QStringList fields{config.path(), u"0"_s, bin.filePath(u"wezterm"_s)};
        QCOMPARE(started.values(), QList<QStringList>{fields + odd});

        // Still running is no end; a later one is, and the terminal is reaped, not left a zombie.
        QCOMPARE(platform.endOfLastStarted(), std::nullopt);
        ::kill(started.firstKey(), SIGKILL);
        QTRY_COMPARE(platform.endOfLastStarted(),
                     std::optional(ProcessEnd{ProcessEnd::Kind::signalled, SIGKILL}));
        QTRY_VERIFY(!QFile::exists(u"/proc/%1"_s.arg(started.firstKey())));

        QCOMPARE(platform.startProcess({u"no-such-terminal"_s, {}}),
                 u"No such file or directory"_s);
        QCOMPARE(platform.startProcess({u"/etc/passwd"_s, {}}), u"Permission denied"_s);
    }

    // A terminal that ends before the pause after its window is over ends the run when it failed,
    // quoting the last lines it wrote; a clean exit (it handed the window to a running instance)
    // lets the run go on.
    void terminalEndingRightAfterStart()
    {
        qputenv("CORVANE_RUN_WINDOW", "1");
        // Each row: the windows' commands, how many were started, what the alert says of the end.
        const std::tuple<QStringList, int, QString> cases[] = {
            {{u"exit 0"_s, u"printf 'a\n%0400d\nwarning\n\n# No display :99 \n' 0 >&2; exit 1"_s,
              u"exit 0"_s},
             2,
             u"it exited with status 1 right after starting.\n\nwarning\n# No display :99"_s},
            {{u"printf '%0400d' 7 >&2; kill -KILL $$"_s},
             1,
             u"it was stopped by signal 9 right after starting.\n\n…"_s + QString(299, u'0') +
                 u'7'},
        };
        for (const auto &[commands, started, alertShown] : cases) {
            QList<TabGroup> groups;
            for (const QString &command : commands)
                groups.append(group(command, {step(command)}));
            AlertCatcher alerts;
            BootTimeSleeper sleeper;
            TerminalRunner runner(platform, sleeper);
            runner.runAll({TerminalApp::gnomeTerminal, groups});
            QTRY_VERIFY_WITH_TIMEOUT(!runner.isRunning(), 10000);
            QCOMPARE(alerts.seen.join(u"|").section(u"Couldn’t launch GNOME Terminal: "_s, 1),
                     alertShown);
            QCOMPARE(takeRecords(started).size(), started);
        }
    }

    // The desktop's choices in their order; names of no known terminal are left out. Each row
    // sets up "NAME=value" (an environment variable; CORVANE_GSETTINGS is GNOME's setting),
    // "home/<file>=text" (in XDG_CONFIG_HOME), "dirs/<file>=text" (in XDG_CONFIG_DIRS), and
    // "alternative=" the file that x-terminal-emulator leads to.
    void desktopsPreferredTerminals_data()
    {
        QTest::addColumn<QStringList>("setup");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("TERMINAL, lists, GNOME, alternative")
            << QStringList{u"TERMINAL=/opt/kitty -1"_s,
                           u"XDG_CURRENT_DESKTOP=ubuntu:GNOME"_s,
                           u"dirs/xdg-terminals.list=org.gnome.Terminal.desktop"_s,
                           u"home/xdg-terminals.list=Alacritty.desktop:new-window\n"_s,
                           u"home/gnome-xdg-terminals.list=org.wezfurlong.wezterm.desktop"_s,
                           u"dirs/ubuntu-xdg-terminals.list=# org.kde.konsole\nkitty.desktop"_s,
                           u"CORVANE_GSETTINGS='tilix'"_s,
                           u"alternative=xfce4-terminal.wrapper"_s}
            << QStringList{u"kitty"_s,         u"wezterm"_s, u"alacritty"_s,
                           u"gnomeTerminal"_s, u"tilix"_s,   u"xfce4Terminal"_s};
        QTest::newRow("KDE, GNOME's setting ignored")
            << QStringList{u"XDG_CURRENT_DESKTOP=KDE"_s,
                           u"home/kdeglobals=[General]\nTerminalApplication=xterm -e\n"_s,
                           u"dirs/kdeglobals=[General]\nTerminalApplication=foot\n"_s,
                           u"CORVANE_GSETTINGS='tilix'"_s}
            << QStringList{u"xterm"_s, u"konsole"_s};
        QTest::newRow("KDE service, other group, unknown")
            << QStringList{u"TERMINAL=st -e"_s, u"XDG_CURRENT_DESKTOP=KDE"_s,
                           u"home/kdeglobals=[General]\nTerminalApplication=xterm\nTerminalService="
                           u"org.codeberg.dnkl.foot.desktop\n[X]\nTerminalService=xterm.desktop"_s,
                           u"alternative=st"_s}
            << QStringList{u"foot"_s, u"konsole"_s};
    }

    void desktopsPreferredTerminals()
    {
        QFETCH(QStringList, setup);
        QTemporaryDir home, dirs, elsewhere;
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(home.path()));
        qputenv("XDG_CONFIG_DIRS", QFile::encodeName(dirs.path()));
        for (const QString &line : setup) {
            const QString name = line.section(u'=', 0, 0), text = line.section(u'=', 1);
            if (name == name.toUpper()) {
                qputenv(name.toUtf8().constData(), text.toUtf8());
            } else if (name == u"alternative") {
                // As on Debian: a link to the terminal's executable, which lies off PATH.
                QVERIFY(
                    writeExecutable(elsewhere.filePath(text), "#!/bin/sh\n") &&
                    QFile::link(elsewhere.filePath(text), bin.filePath(u"x-terminal-emulator"_s)));
            } else {
                QVERIFY(writeExecutable(
                    (name.startsWith(u"home/") ? home : dirs).filePath(name.section(u'/', 1)),
                    text.toUtf8()));
            }
        }
        QStringList preferred;
        for (TerminalApp app : platform.preferredTerminals())
            preferred.append(rawValue(app));
        QTEST(preferred, "expected");
    }

    // The autostart entry is the setting: a desktop's own switch turns it off, and so does its
    // removal; a folder that cannot be made is reported. GLib, the reader of GNOME and others,
    // starts exactly this program with `run`, wherever it lies; desktop-file-validate is silent.
    void loginStartIsTheAutostartEntry()
    {
        const QString entry = AutostartEntry::path();
        for (const QString &mark : {u"Hidden=true"_s, u"X-GNOME-Autostart-enabled=false"_s}) {
            QCOMPARE(platform.setLoginStart(LoginStart::start), std::nullopt);
            QCOMPARE(platform.loginStart(), LoginStart::start);
            QFile file(entry);
            QVERIFY(file.open(QIODevice::Append) && file.write(mark.toUtf8() + '\n') > 0);
            file.close();
            QCOMPARE(platform.loginStart(), LoginStart::off);
        }
        QVERIFY(AutostartEntry::write(entry + u"/x"_s, LoginStart::start, entry).has_value());
        QVERIFY(!platform.setLoginStart(LoginStart::off) && !QFile::exists(entry));

        // Every character that needs quoting, a backslash pair last (just before the quote). No
        // '%': GLib 2.74 fails to undo its "%%" when it looks for the program, and drops the entry.
        const QString folder =
            config.filePath(u"my apps it's \"q\" $HOME `x` a ; <&> #~*?()| back\\slash\\\\"_s);
        const QString program = folder + u"/corvane"_s;
        QVERIFY(QDir().mkpath(folder) && writeExecutable(program, recorder));
        QCOMPARE(AutostartEntry::write(entry, LoginStart::startAndRun, program), std::nullopt);
        QCOMPARE(platform.loginStart(), LoginStart::startAndRun);
        QProcess validate;
        validate.start(u"/usr/bin/desktop-file-validate"_s, {entry});
        QVERIFY(validate.waitForFinished() && validate.exitCode() == 0);
        QCOMPARE(validate.readAll() + validate.readAllStandardError(), QByteArray()); // no warning
        QCOMPARE(QProcess::execute(u"/usr/bin/gio"_s, {u"launch"_s, entry}), 0); // as on a desktop
        QCOMPARE(takeRecords(1).first().mid(2), (QStringList{program, u"run"_s}));
    }

    // The loop serves while it waits, which is never short; a zero wait ends at once.
    void bootTimeWait()
    {
        BootTimeSleeper sleeper;
        const auto begun = std::chrono::steady_clock::now();
        std::chrono::nanoseconds slept{-1};
        auto task = sleeper.sleepFor(300ms + 123us).then([&] {
            slept = std::chrono::steady_clock::now() - begun;
        });
        QVERIFY(!task.isReady()); // the loop goes on serving
        QTRY_VERIFY_WITH_TIMEOUT(task.isReady(), 10000);
        QVERIFY2(slept >= 300ms + 123us, qPrintable(QString::number(slept.count())));
        QVERIFY(sleeper.sleepFor(0ns).isReady());
    }
};

QTEST_MAIN(LinuxPlatformTest)
#include "tst_linuxplatform.moc"
