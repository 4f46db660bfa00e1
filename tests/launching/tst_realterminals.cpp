// Every terminal Corvane starts on X, opened for real through LinuxPlatform, BootTimeSleeper and
// the runner on a private X server, each row with a session bus of its own and one private HOME;
// rows marked "typed" type the commands through a private tmux server instead of packing them
// (what typing does inside a window is tst_tmuxtyping's).
// Each window appends "<step> <shell pid> <time>" lines to a marker file; /proc tells where that
// shell ends up.
#include "AlertCatcher.h"
#include "BootTimeSleeper.h"
#include "LinuxPlatform.h"
#include "TerminalRunner.h"
#include "TestHelpers.h"
#include "TmuxSessions.h"

#include <QDir>
#include <QJsonObject>
#include <QProcess>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <unistd.h>

using namespace corvane;
using namespace corvane::testing;
using namespace Qt::StringLiterals;

namespace {

// Everything a row starts carries this variable with the row's value, the bus's services
// included, however they detach: that is how the row finds what to stop.
constexpr char rowVariable[] = "CORVANE_TEST_ROW";

QStringList lines(const QString &path)
{
    return QString::fromUtf8(readAll(path)).split(u'\n', Qt::SkipEmptyParts);
}

// How a window's shell stands: its argument vector, where its standard input comes from, and its
// process group, session and terminal's foreground group ("self" where that is the shell itself).
QString shellState(const QString &pid)
{
    const QString proc = u"/proc/"_s + pid;
    const QByteArray stat = readAll(proc + u"/stat"_s);
    // After "pid (comm) ": state ppid pgrp session tty_nr tpgid ...
    const QList<QByteArray> fields = stat.mid(stat.lastIndexOf(')') + 2).split(' ');
    QString state = QString::fromUtf8(readAll(proc + u"/cmdline"_s).replace('\0', ' ')) + u"< "_s +
                    QFile::symLinkTarget(proc + u"/fd/0"_s).section(u'/', 0, -2);
    for (const int field : {2, 3, 5}) {
        const QString value = QString::fromLatin1(fields.value(field));
        state += u' ' + (value == pid ? u"self"_s : value);
    }
    return state;
}

QString mark(const QString &file, int n)
{
    return u"echo \"%1 $$ $(date +%s.%N)\" >> '%2'"_s.arg(n).arg(file);
}
QString field(const QString &line, int i)
{
    return line.section(u' ', i, i);
}

QList<pid_t> processesOfRow(const QByteArray &row)
{
    const QByteArray entry = rowVariable + ('=' + row);
    QList<pid_t> found;
    for (const QString &name : QDir(u"/proc"_s).entryList(QDir::Dirs)) {
        bool number = false;
        const pid_t pid = name.toInt(&number);
        if (number && pid != ::getpid() &&
            readAll(u"/proc/%1/environ"_s.arg(pid)).split('\0').contains(entry))
            found.append(pid);
    }
    return found;
}

} // namespace

class RealTerminalsTest final : public QObject {
    Q_OBJECT

    QProcess xvfb;
    QTemporaryDir dir;
    QByteArray row;
    int rootWindows = 0; // mapped top-level windows before any terminal: the root itself

    LinuxPlatform platform;
    BootTimeSleeper sleeper;
    std::unique_ptr<TerminalRunner> runner; // lives on with the row: typing outlasts the run
    QString tmux;

    // Mapped top-level windows whose title matches the pattern.
    static int windows(const QString &title = {})
    {
        QProcess search;
        search.start(u"xdotool"_s, {u"search"_s, u"--maxdepth"_s, u"1"_s, u"--onlyvisible"_s,
                                    u"--name"_s, title});
        return search.waitForFinished() ? search.readAllStandardOutput().count('\n') : -1;
    }

    // The window's shell waiting at its prompt with nothing in front of it, leading its session:
    // an interactive login shell, or in a typed row the pane's shell with its prompt hook.
    QString atPrompt(bool typed) const
    {
        const QString shell = platform.windowShell();
        return (typed ? TmuxShellHooks(tmux, TmuxSessions::defaultHooksDirectory())
                            .start(shell)
                            .command.join(u' ')
                      : shell + u" -il"_s) +
               u" < /dev/pts self self self"_s;
    }

private Q_SLOTS:
    void initTestCase()
    {
        for (const QString &program : {u"Xvfb"_s, u"xdotool"_s, u"dbus-daemon"_s}) {
            if (QStandardPaths::findExecutable(program).isEmpty())
                QSKIP("Needs Xvfb, xdotool and dbus-daemon");
        }
        // The windows run login shells: keep this user's profile, settings and servers out.
        const QString home = dir.filePath(u"home"_s), runtime = dir.filePath(u"runtime"_s);
        QVERIFY(QDir().mkpath(home) && QDir().mkpath(runtime));
        QVERIFY(
            QFile::setPermissions(runtime, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
        qputenv("HOME", QFile::encodeName(home));
        qputenv("XDG_RUNTIME_DIR", QFile::encodeName(runtime));
        for (const char *name : {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME",
                                 "XDG_STATE_HOME", "WAYLAND_DISPLAY", "SESSION_MANAGER",
                                 "QT_QPA_PLATFORM"}) // this test's own is offscreen already
            qunsetenv(name);
        qputenv("LC_ALL", "C.UTF-8"); // GNOME Terminal refuses other encodings

        // --single-instance would otherwise join a kitty of this user on any display.
        if (const QString kitty = QStandardPaths::findExecutable(u"kitty"_s); !kitty.isEmpty()) {
            QVERIFY(writeExecutable(
                dir.filePath(u"kitty"_s),
                u"#!/bin/sh\nexec '%1' --instance-group corvane-test-%2 \"$@\"\n"_s.arg(kitty)
                    .arg(::getpid())
                    .toUtf8()));
        }
        // Alacritty gives its shell HOME from the password database, whatever ours is: hand the
        // private one on through `env` in front of the command it runs.
        if (const QString alacritty = QStandardPaths::findExecutable(u"alacritty"_s);
            !alacritty.isEmpty()) {
            QVERIFY(writeExecutable(
                dir.filePath(u"alacritty"_s),
                u"#!/bin/sh\nn=$#\nwhile [ $n -gt 0 ]; do\n  a=$1; shift; n=$((n - 1))\n"
                "  if [ \"$a\" = -e ]; then set -- \"$@\" -e env \"HOME=$HOME\"; "
                "else set -- \"$@\" \"$a\"; fi\ndone\nexec '%1' \"$@\"\n"_s.arg(alacritty)
                    .toUtf8()));
        }
        qputenv("PATH", QFile::encodeName(dir.path()) + ":" + qgetenv("PATH"));
        // Typed rows: a private tmux server.
        tmux = QStandardPaths::findExecutable(u"tmux"_s);
        qputenv("TMUX_TMPDIR", QFile::encodeName(dir.path()));

        // Xvfb picks a free display and writes its number to the descriptor named: stdout.
        xvfb.start(u"Xvfb"_s, {u"-displayfd"_s, u"1"_s, u"-screen"_s, u"0"_s, u"1280x800x24"_s,
                               u"-nolisten"_s, u"tcp"_s,
                               // The row's last client going must not reset the server (and
                               // the root window's properties that the window count relies on).
                               u"-noreset"_s});
        QTRY_VERIFY_WITH_TIMEOUT(xvfb.canReadLine(), 20000);
        qputenv("DISPLAY", ":" + xvfb.readLine().trimmed());
        rootWindows = windows();
        QVERIFY(rootWindows > 0);
    }

    void cleanupTestCase()
    {
        xvfb.terminate();
        xvfb.waitForFinished(5000);
    }

    void init()
    {
        row = QByteArray::number(::getpid()) + '-' + QTest::currentDataTag();
        qputenv(rowVariable, row);
        QProcess bus; // forks the daemon, prints its address and PID, and ends
        bus.start(u"dbus-daemon"_s,
                  {u"--session"_s, u"--fork"_s, u"--print-address=1"_s, u"--print-pid=1"_s});
        QVERIFY(bus.waitForFinished(10000) && bus.exitCode() == 0);
        qputenv("DBUS_SESSION_BUS_ADDRESS", bus.readAllStandardOutput().split('\n').value(0));
    }

    // Stops everything the row started by its PID: the terminals, their servers, the shells in
    // their windows (interactive ones ignore SIGTERM) and the bus with what it activated.
    void cleanup()
    {
        runner.reset();
        // A typing cut short finishes the tmux call it is in: wait for it, so none stays suspended.
        QTRY_COMPARE_WITH_TIMEOUT(TmuxClient::runsUnderWay(), 0, 15000);
        for (const int signal : {SIGTERM, SIGKILL}) {
            for (const pid_t pid : processesOfRow(row))
                ::kill(pid, signal);
            if (QTest::qWaitFor([&] { return processesOfRow(row).isEmpty(); }, 5000))
                break;
        }
        QVERIFY(processesOfRow(row).isEmpty());
        QTRY_COMPARE_WITH_TIMEOUT(windows(), rootWindows, 30000);
    }

    void windowsRunTheirCommandsAndWait_data()
    {
        using enum TerminalApp;
        QTest::addColumn<TerminalApp>("terminal");
        QTest::addColumn<bool>("typed");
        for (const TerminalApp app : {kitty, alacritty, gnomeTerminal, konsole, xfce4Terminal,
                                      mateTerminal, tilix, terminator, xterm})
            QTest::newRow(qPrintable(rawValue(app))) << app << false;
        for (const TerminalApp app : {xterm, gnomeTerminal})
            QTest::newRow(qPrintable(rawValue(app) + u"-typed"_s)) << app << true;
    }

    // One window per group. A server window, titled with its name, runs its commands in order in
    // one shell with the delay kept, then opens its port; a client window waits for that port, in
    // its own folder; a third window gives up on a file that never comes, skips its other command
    // and stays at a login shell. Ctrl-C on the server leaves its window at a prompt too.
    void windowsRunTheirCommandsAndWait()
    {
        QFETCH(TerminalApp, terminal);
        QFETCH(bool, typed);
        if (!platform.terminalLocation(terminal) || (typed && tmux.isEmpty()))
            QSKIP("Not installed");
        const QString tag = QString::fromLatin1(QTest::currentDataTag());
        const QString a = dir.filePath(tag + u"-server"_s), b = dir.filePath(tag + u"-client"_s),
                      c = dir.filePath(tag + u"-late"_s), folder = dir.filePath(tag + u" folder"_s);
        QVERIFY(QDir().mkpath(folder));
        QTcpServer probe;
        QVERIFY(probe.listen(QHostAddress::LocalHost));
        const quint16 port = probe.serverPort();
        probe.close();
        const TabGroup server =
            group(u"Corvane server "_s + tag,
                  {step(mark(a, 1), 2), step(mark(a, 2)),
                   step(u"python3 -c 'import socket, time; s = socket.create_server("
                        u"(\"127.0.0.1\", %1)); time.sleep(600)'"_s.arg(port))});
        TabGroup client = group(u"client"_s, {step(mark(b, 1))});
        client.startWhen = QJsonObject{{u"port"_s, port}};
        client.directory = folder;
        TabGroup late = group(u"late"_s, {step(mark(c, 1)), step(mark(c, 2))});
        late.commands[0].waitFor = QJsonObject{{u"file"_s, u"~/never"_s}, {u"timeout"_s, 1}};

        AlertCatcher alerts;
        runner = std::make_unique<TerminalRunner>(platform, sleeper);
        runner->runAll({terminal, {server, client, late}, typed ? u"tmux"_s : QString()});
        QTRY_VERIFY_WITH_TIMEOUT(!runner->isRunning(), 20000);
        QCOMPARE(alerts.seen.join(u" | "), QString());
        QTRY_COMPARE_WITH_TIMEOUT(lines(a).size(), 2, 20000);
        QTRY_COMPARE_WITH_TIMEOUT(lines(b).size(), 1, 20000);
        const QStringList marks = lines(a);
        const QString serverShell = field(marks[0], 1);
        QCOMPARE(field(marks[0], 0) + field(marks[1], 0), u"12"_s);
        QCOMPARE(field(marks[1], 1), serverShell);
        QVERIFY2(field(marks[1], 2).toDouble() - field(marks[0], 2).toDouble() >= 2,
                 qPrintable(marks.join(u" | ")));
        // The client started only once the server's port could be open.
        QVERIFY2(field(lines(b)[0], 2).toDouble() > field(marks[1], 2).toDouble(),
                 qPrintable(marks[1] + u" | "_s + lines(b)[0]));
        QCOMPARE(QFile::symLinkTarget(u"/proc/"_s + field(lines(b)[0], 1) + u"/cwd"_s), folder);
        // Checked while the server runs: at a prompt, a shell may set a title of its own (Debian's
        // vte-2.91.sh does for GNOME Terminal). Tilix shows its title inside the window only.
        if (terminal != TerminalApp::tilix)
            QTRY_COMPARE_WITH_TIMEOUT(windows(u"^Corvane server "_s + tag + u'$'), 1, 20000);
        QTRY_COMPARE_WITH_TIMEOUT(windows(), rootWindows + 3, 10000);

        // The late window gave up: its first command ran, the second never did.
        QTRY_COMPARE_WITH_TIMEOUT(lines(c).size(), 1, 20000);
        QTRY_COMPARE_WITH_TIMEOUT(shellState(field(lines(c)[0], 1)), atPrompt(typed), 20000);
        // Typed, nothing shows the typing's end: give a wrongly typed command time to run.
        QVERIFY(!QTest::qWaitFor([&] { return lines(c).size() > 1; }, typed ? 1000 : 0));

        // Ctrl-C reaches the terminal's foreground job, the server; its window goes on to a prompt.
        const int foreground = shellState(serverShell).section(u' ', -1).toInt(); // not "self"
        QVERIFY(foreground > 0);
        QCOMPARE(::kill(-foreground, SIGINT), 0);
        // A typed row under the sanitizers, beside other tests, has once taken just over 20 s.
        QTRY_COMPARE_WITH_TIMEOUT(shellState(serverShell), atPrompt(typed), 40000);
    }
};

QTEST_MAIN(RealTerminalsTest)
#include "tst_realterminals.moc"
