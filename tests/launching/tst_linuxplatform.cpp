// LinuxPlatform and BootTimeSleeper for real: fake terminals on a private PATH that record how
// they were started, a real QMessageBox and real timers.
#include "AlertCatcher.h"
#include "AutostartEntry.h"
#include "BootTimeSleeper.h"
#include "FakeSleeper.h"
#include "LinuxPlatform.h"
#include "TerminalRunner.h"
#include "TestHelpers.h"
#include "WarpLauncher.h"

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

    // Looked up outside PATH, which holds only the fakes.
    static QString desktopFileValidate()
    {
        return QStandardPaths::findExecutable(u"desktop-file-validate"_s, {u"/usr/bin"_s});
    }

private Q_SLOTS:
    void initTestCase()
    {
        // Only the fakes can be found: real terminals of this machine must not be picked up.
        qputenv("PATH", QFile::encodeName(bin.path()));
        qputenv("CORVANE_RECORDS", QFile::encodeName(records.path()));
        qputenv("CORVANE_PROBE", "inherited");
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(config.path()));
        for (const QString &name :
             {u"ghostty"_s, u"wezterm"_s, u"tabby"_s, u"warp-terminal"_s, u"xdg-open"_s,
              u"gnome-terminal"_s, u"konsole"_s, u"xfce4-terminal"_s, u"mate-terminal"_s,
              u"tilix"_s, u"terminator"_s, u"xterm"_s, u"foot"_s})
            QVERIFY(writeExecutable(bin.filePath(name), recorder));
    }

    void cleanup()
    {
        qunsetenv("TERMINAL");
        qunsetenv("CORVANE_RUN_WINDOW");
        QFile::remove(bin.filePath(u"x-terminal-emulator"_s));
    }

    // The terminals that are found are checked by the runs below.
    void whatLinuxLacks()
    {
        QCOMPARE(platform.applicationLocation(u"com.apple.Terminal"_s), std::nullopt);
        QCOMPARE(platform.applicationLocation(u"org.alacritty"_s), std::nullopt); // not on PATH
        QVERIFY(std::holds_alternative<std::monostate>(platform.executeAppleScript(u"1"_s)));
        QCOMPARE(platform.openCommand(u"org.alacritty"_s, {u"--args"_s}),
                 (ProcessCommand{u"alacritty"_s, {}}));
    }

    void startProcessIsDetachedAndClean()
    {
        std::signal(SIGHUP, SIG_IGN); // as under nohup: must not reach the user's shells
        const QStringList odd{u"two\nlines 'q' \"d\" \\ é"_s, {}};
        QCOMPARE(platform.startProcess({bin.filePath(u"wezterm"_s), odd}), std::nullopt);
        std::signal(SIGHUP, SIG_DFL);
        QCOMPARE(takeRecords(1), QList<QStringList>{start(u"wezterm"_s, odd)});
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

    void runsStartEachTerminal()
    {
        const QString shell = platform.windowShell();
        const QString warpFile = config.filePath(u"Corvane/warp_launch.yaml"_s);
        const std::pair<TerminalApp, QString> cases[] = {
            {TerminalApp::ghostty, u"ghostty -e"_s},
            {TerminalApp::wezterm, u"wezterm start --always-new-process --"_s},
            {TerminalApp::tabby, u"tabby run"_s},
            {TerminalApp::gnomeTerminal, u"gnome-terminal --window --"_s},
            {TerminalApp::konsole, u"konsole -e"_s},
            {TerminalApp::xfce4Terminal, u"xfce4-terminal -x"_s},
            {TerminalApp::mateTerminal, u"mate-terminal --window -x"_s},
            {TerminalApp::tilix, u"tilix -a app-new-window -x"_s},
            {TerminalApp::terminator, u"terminator -u -x"_s},
            {TerminalApp::xterm, u"xterm -e"_s},
            {TerminalApp::foot, u"foot"_s}};
        for (const auto &[terminal, head] : cases) {
            FakeSleeper sleeper;
            TerminalRunner runner(platform, sleeper);
            runner.runAll({terminal,
                           {group(QString(), {step(u"echo 'a'"_s, 1), step(u"pwd"_s)}),
                            group(QString(), {step(u"top"_s)})}});
            const QStringList words = head.split(u' ');
            QList<QStringList> expected;
            // Every window starts in the home folder, not in Corvane's.
            for (const QString &packed : {u"echo 'a'; sleep 1; pwd"_s, u"top"_s})
                expected.append(
                    QStringList{QDir::homePath(), u"inherited"_s, bin.filePath(words[0])} +
                    words.mid(1) +
                    QStringList{shell, u"-ilc"_s,
                                u"trap : INT; "_s + packed + u"; exec "_s + shell + u" -il"_s});
            std::sort(expected.begin(), expected.end());
            QCOMPARE(takeRecords(2), expected);
            QCOMPARE(sleeper.seconds.size(), 2);
        }
        FakeSleeper sleeper;
        TerminalRunner runner(platform, sleeper);
        runner.runAll({TerminalApp::warp, {group(u"a"_s, {step(u"pwd"_s)})}});
        const QByteArray path = WarpLauncher::percentEncodedPath(warpFile);
        QCOMPARE(takeRecords(1),
                 (QList<QStringList>{
                     start(u"xdg-open"_s, {u"warp://launch/"_s + QString::fromLatin1(path)})}));
        QVERIFY(sleeper.seconds.isEmpty() && QFile::exists(warpFile));
    }

    // A terminal that ends before the pause after its window is over ends the run when it failed;
    // a clean exit (it handed the window to a running instance) lets the run go on, and a failure
    // after the pause is not the run's.
    void terminalEndingRightAfterStart()
    {
        qputenv("CORVANE_RUN_WINDOW", "1");
        const QString launch = u"Couldn’t run your commands: Couldn’t launch GNOME Terminal: "_s;
        using K = ProcessEnd::Kind;
        const std::tuple<QStringList, int, QStringList, ProcessEnd> cases[] = {
            {{u"exit 0"_s, u"/bin/sleep 2; exit 3"_s}, 2, {}, {K::exited, 3}},
            {{u"exit 1"_s, u"exit 0"_s},
             1,
             {launch + u"it exited with status 1 right after starting. (error 0)"_s},
             {K::exited, 1}},
            {{u"kill -KILL $$"_s, u"exit 0"_s},
             1,
             {launch + u"it was stopped by signal 9 right after starting. (error 0)"_s},
             {K::signalled, 9}},
        };
        for (const auto &[commands, started, alertsShown, lastEnd] : cases) {
            QList<TabGroup> groups;
            for (const QString &command : commands)
                groups.append(group(command, {step(command)}));
            AlertCatcher alerts;
            BootTimeSleeper sleeper;
            TerminalRunner runner(platform, sleeper);
            runner.runAll({TerminalApp::gnomeTerminal, groups});
            QTRY_VERIFY_WITH_TIMEOUT(!runner.isRunning(), 10000);
            QCOMPARE(alerts.seen.join(u"|"), alertsShown.join(u"|"));
            QCOMPARE(takeRecords(started).size(), started);
            QTRY_COMPARE_WITH_TIMEOUT(platform.endOfLastStarted(), std::optional(lastEnd), 10000);
        }
    }

    // $TERMINAL's first word, then what Debian's x-terminal-emulator alternative links to in the
    // end (a .wrapper counting as the terminal it wraps); names of no known terminal are left out.
    void desktopsPreferredTerminals_data()
    {
        QTest::addColumn<QString>("terminal");    // null: unset
        QTest::addColumn<QString>("alternative"); // empty: none
        QTest::addColumn<QStringList>("expected");
        const QString kitty = u"net.kovidgoyal.kitty"_s, konsole = u"org.kde.konsole"_s;
        QTest::newRow("neither") << QString() << QString() << QStringList();
        QTest::newRow("arguments") << u"kitty -1 --class x"_s << QString() << QStringList{kitty};
        QTest::newRow("path") << u"/opt/kde/bin/konsole"_s << QString() << QStringList{konsole};
        QTest::newRow("unknown") << u"urxvt"_s << u"st"_s << QStringList();
        QTest::newRow("wrapper") << QString() << u"gnome-terminal.wrapper"_s
                                 << QStringList{u"org.gnome.Terminal"_s};
        QTest::newRow("plain") << u""_s << u"tilix"_s << QStringList{u"com.gexperts.Tilix"_s};
        QTest::newRow("both") << u"kitty"_s << u"xfce4-terminal.wrapper"_s
                              << QStringList{kitty, u"xfce4-terminal"_s};
        QTest::newRow("same") << u"  foot  "_s << u"foot"_s
                              << QStringList{u"org.codeberg.dnkl.foot"_s};
        QTest::newRow("unknown first") << u"st -e"_s << u"konsole"_s << QStringList{konsole};
    }

    void desktopsPreferredTerminals()
    {
        QFETCH(QString, terminal);
        QFETCH(QString, alternative);
        QFETCH(QStringList, expected);
        if (!terminal.isNull())
            qputenv("TERMINAL", terminal.toUtf8());
        // As on Debian: /usr/bin/x-terminal-emulator -> /etc/alternatives/x-terminal-emulator ->
        // the terminal's executable, which lies off PATH.
        QTemporaryDir elsewhere;
        if (!alternative.isEmpty()) {
            const QString target = elsewhere.filePath(alternative);
            const QString alternatives = elsewhere.filePath(u"x-terminal-emulator"_s);
            QVERIFY(writeExecutable(target, "#!/bin/sh\n"));
            QVERIFY(QFile::link(target, alternatives) &&
                    QFile::link(alternatives, bin.filePath(u"x-terminal-emulator"_s)));
        }
        QCOMPARE(platform.preferredTerminals(), expected);
    }

    // The autostart entry is the setting: written, read back, validated, removed.
    void loginStartIsTheAutostartEntry()
    {
        const QString validator = desktopFileValidate();
        if (validator.isEmpty())
            QSKIP("desktop-file-validate is not installed (Debian: desktop-file-utils)");
        const QString path = config.filePath(u"autostart/corvane.desktop"_s);
        const QString self = AutostartEntry::execArgument(QCoreApplication::applicationFilePath());
        const auto contents = [&] {
            QFile file(path);
            return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
        };
        QCOMPARE(platform.loginStart(), LoginStart::off);
        for (LoginStart wanted : {LoginStart::start, LoginStart::startAndRun, LoginStart::start,
                                  LoginStart::off, LoginStart::startAndRun, LoginStart::off}) {
            QCOMPARE(platform.setLoginStart(wanted), std::nullopt);
            QCOMPARE(platform.loginStart(), wanted);
            QCOMPARE(QFile::exists(path), wanted != LoginStart::off);
            if (wanted == LoginStart::off)
                continue;
            QProcess validate;
            validate.start(validator, {path});
            QVERIFY(validate.waitForFinished());
            QVERIFY2(validate.exitCode() == 0 && validate.readAll().isEmpty(),
                     qPrintable(QString::fromUtf8(validate.readAllStandardError())));
            const QString exec = wanted == LoginStart::startAndRun ? self + u" run"_s : self;
            QVERIFY2(contents().contains(u"\nExec="_s + exec + u'\n'), qPrintable(contents()));
        }

        // Desktops turn an entry off by marking it, not by removing it.
        for (const QString &mark : {u"Hidden=true"_s, u"X-GNOME-Autostart-enabled=false"_s}) {
            QCOMPARE(platform.setLoginStart(LoginStart::startAndRun), std::nullopt);
            QFile file(path);
            QVERIFY(file.open(QIODevice::Append));
            file.write(mark.toUtf8() + '\n');
            file.close();
            QCOMPARE(platform.loginStart(), LoginStart::off);
        }
        QCOMPARE(platform.setLoginStart(LoginStart::off), std::nullopt);

        // A folder that cannot be made is reported, and nothing is set.
        QFile blocker(config.filePath(u"autostart"_s));
        QVERIFY(QDir(blocker.fileName()).removeRecursively() && blocker.open(QIODevice::WriteOnly));
        blocker.close();
        QVERIFY(platform.setLoginStart(LoginStart::start).has_value());
        QCOMPARE(platform.loginStart(), LoginStart::off);
        QVERIFY(blocker.remove());
    }

    // Exec arguments are quoted as desktop entries require, and the result still validates.
    void execArgumentsAreQuoted_data()
    {
        QTest::addColumn<QString>("argument");
        QTest::addColumn<QString>("written");
        QTest::newRow("plain") << u"/usr/bin/corvane"_s << u"/usr/bin/corvane"_s;
        QTest::newRow("space") << u"/opt/my apps/corvane"_s << u"\"/opt/my apps/corvane\""_s;
        QTest::newRow("percent") << u"/opt/100%/corvane"_s << u"/opt/100%%/corvane"_s;
        // Escaped once for the quotes, then every backslash again for the string value.
        QTest::newRow("quote, dollar, backslash")
            << u"/o\"p$t\\c"_s << u"\"/o\\\\\"p\\\\$t\\\\\\\\c\""_s;
        QTest::newRow("single quote") << u"/it's/corvane"_s << u"\"/it's/corvane\""_s;
    }

    void execArgumentsAreQuoted()
    {
        QFETCH(QString, argument);
        QFETCH(QString, written);
        QCOMPARE(AutostartEntry::execArgument(argument), written);
        const QString validator = desktopFileValidate();
        if (validator.isEmpty())
            return;
        QTemporaryDir dir;
        const QString entry = dir.filePath(u"corvane.desktop"_s);
        QVERIFY(writeExecutable(entry, AutostartEntry::text(argument, true).toUtf8()));
        QProcess validate;
        validate.start(validator, {entry});
        QVERIFY(validate.waitForFinished());
        QVERIFY2(validate.exitCode() == 0, qPrintable(QString::fromUtf8(validate.readAll())));
    }

    void bootTimeWaitKeepsTheLoopServingAndIsNeverShort()
    {
        struct State {
            QElapsedTimer clock;
            bool timerFired = false, firedBeforeWake = false, completed = false;
            qint64 slept = -1;
        } s;
        BootTimeSleeper sleeper;
        QTimer::singleShot(0, this, [&] { s.timerFired = true; });
        s.clock.start();
        // The state comes in by reference: a capturing lambda's closure would be gone by the time
        // the wait resumes the coroutine.
        auto task = [](BootTimeSleeper &sleeper, State &s) -> QCoro::Task<> {
            s.completed = co_await sleeper.sleepFor(300ms + 123us);
            s.firedBeforeWake = s.timerFired;
            s.slept = s.clock.nsecsElapsed();
        }(sleeper, s);
        QVERIFY(!task.isReady());
        QTRY_VERIFY_WITH_TIMEOUT(task.isReady(), 10000);
        QVERIFY(s.completed && s.firedBeforeWake);
        QVERIFY2(s.slept >= 300'123'000, qPrintable(QString::number(s.slept)));
        // Nothing to wait for ends at once.
        QVERIFY(sleeper.sleepFor(0ns).isReady() &&
                sleeper.sleepFor(std::chrono::nanoseconds::min()).isReady());
    }
};

QTEST_MAIN(LinuxPlatformTest)
#include "tst_linuxplatform.moc"
