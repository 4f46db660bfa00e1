// How soon a window that waits goes on once what it needs is there, what waiting costs, and what
// waits save against blind delays. The wait is the very command a packed window runs; the
// 5-window run goes through the real runner, platform and clock, with a stand-in xterm that runs
// its window's `<shell> -ilc <line>` without a display.
#include "BootTimeSleeper.h"
#include "LinuxPlatform.h"
#include "PackedCommandBuilder.h"
#include "TerminalRunner.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonObject>
#include <QProcess>
#include <QRandomGenerator>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <cstdio>

#include <sys/resource.h>
#include <time.h>

using namespace corvane;
using namespace Qt::StringLiterals;

namespace {

double now()
{
    timespec t{};
    ::clock_gettime(CLOCK_REALTIME, &t);
    return double(t.tv_sec) + double(t.tv_nsec) / 1e9;
}

quint16 freePort()
{
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost);
    return probe.serverPort();
}

QString waitForPort(quint16 port, double timeout = 60)
{
    return PackedCommandBuilder::waitCommand(
        QJsonObject{{u"port"_s, port}, {u"timeout"_s, timeout}});
}

double percentile(QList<double> values, double p)
{
    std::sort(values.begin(), values.end());
    return values.at(std::min(values.size() - 1, qsizetype(p * double(values.size()))));
}

// Port open → the next command started, for a wait begun 0.3 to 1.5 s before the port opens.
void latency(int rounds)
{
    QList<double> ms;
    for (int i = 0; i < rounds; ++i) {
        const quint16 port = freePort();
        QProcess window;
        window.start(u"/bin/sh"_s, {u"-c"_s, waitForPort(port) + u" && date +%s.%N"_s});
        window.waitForStarted();
        QTest::qWait(300 + int(QRandomGenerator::global()->bounded(1200)));
        QTcpServer server;
        const double opened = now();
        server.listen(QHostAddress::LocalHost, port);
        window.waitForFinished(10000);
        ms.append((window.readAllStandardOutput().trimmed().toDouble() - opened) * 1000);
    }
    std::printf("port open -> next command: median %.0f ms, p95 %.0f ms, max %.0f ms (%d runs)\n",
                percentile(ms, 0.5), percentile(ms, 0.95), percentile(ms, 1.0), rounds);
}

// CPU time of a wait that never ends (until its timeout), per second of waiting.
void cpu(int seconds)
{
    rusage before{}, after{};
    ::getrusage(RUSAGE_CHILDREN, &before);
    QElapsedTimer wall;
    wall.start();
    QProcess window;
    window.start(u"/bin/sh"_s, {u"-c"_s, waitForPort(freePort(), seconds)});
    window.waitForFinished(seconds * 1000 + 10000);
    ::getrusage(RUSAGE_CHILDREN, &after);
    const auto used = [](const rusage &r) {
        return double(r.ru_utime.tv_sec + r.ru_stime.tv_sec) +
               double(r.ru_utime.tv_usec + r.ru_stime.tv_usec) / 1e6;
    };
    std::printf("CPU of a window waiting %d s: %.1f %% of one core\n", seconds,
                100 * (used(after) - used(before)) / (double(wall.elapsed()) / 1000));
}

// Click → every window ready, for a database window whose server opens 2 s after it starts and
// four windows that need it, with waits or with the 5 s blind delay a careful user would set.
double fiveWindows(const QString &folder, bool waits)
{
    const quint16 port = freePort();
    const QString marks = folder + (waits ? u"/waits"_s : u"/blind"_s);
    const QString mark = u"date +%s.%N >> "_s + marks;
    AppConfig config{TerminalApp::xterm, {}};
    TabGroup db;
    db.name = u"db"_s;
    db.commands = {CommandStep{QUuid::createUuid(),
                               u"python3 -c 'import socket, time; time.sleep(2); s = "
                               u"socket.create_server((\"127.0.0.1\", %1)); "
                               u"open(\"%2\", \"a\").write(\"%3\\n\" % time.time()); "
                               u"time.sleep(30)'"_s.arg(port)
                                   .arg(marks, u"%f"_s),
                               0}};
    config.groups.append(db);
    for (int i = 0; i < 4; ++i) {
        TabGroup app;
        app.name = u"app %1"_s.arg(i);
        if (waits) {
            app.startWhen = QJsonObject{{u"port"_s, port}};
            app.commands = {CommandStep{QUuid::createUuid(), mark, 0}};
        } else {
            app.commands = {CommandStep{QUuid::createUuid(), u"echo waiting"_s, 5},
                            CommandStep{QUuid::createUuid(), mark, 0}};
        }
        config.groups.append(app);
    }
    LinuxPlatform platform;
    BootTimeSleeper sleeper;
    TerminalRunner runner(platform, sleeper);
    const double click = now();
    runner.runAll(config);
    if (!QTest::qWaitFor(
            [&] {
                QFile file(marks);
                return file.open(QIODevice::ReadOnly) && file.readAll().count('\n') == 5;
            },
            60000))
        qFatal("not every window got ready");
    QFile file(marks);
    file.open(QIODevice::ReadOnly);
    double last = 0;
    for (const QByteArray &line : file.readAll().split('\n'))
        last = std::max(last, line.toDouble());
    if (!QTest::qWaitFor([&] { return !runner.isRunning(); }, 20000))
        qFatal("the run did not end");
    return last - click;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QTemporaryDir dir;
    // Login shells of the stand-in windows read nobody's profile.
    qputenv("HOME", QFile::encodeName(dir.path()));
    QFile xterm(dir.filePath(u"xterm"_s));
    xterm.open(QIODevice::WriteOnly);
    xterm.write("#!/bin/sh\nwhile [ \"$1\" != -e ]; do shift; done; shift\n"
                "exec \"$@\" </dev/null >/dev/null 2>&1\n");
    xterm.close();
    xterm.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    qputenv("PATH", QFile::encodeName(dir.path()) + ':' + qgetenv("PATH"));

    latency(argc > 1 ? QByteArray(argv[1]).toInt() : 40);
    cpu(5);
    cpu(20);
    const double blind = fiveWindows(dir.path(), false);
    const double waited = fiveWindows(dir.path(), true);
    std::printf("click -> every window ready (5 windows, server up 2 s after its window opens): "
                "waits %.2f s, blind 5 s delays %.2f s\n",
                waited, blind);
    return 0;
}
