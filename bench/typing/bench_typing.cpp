// How soon the next command follows once a shell's prompt is back, typing through tmux: a window
// of `date` commands, each appending the time it started. The gap between two starts holds the
// first command's own run, the prompt hook, Corvane noticing, typing, and the shell starting the
// next: an upper bound of "prompt back → next command typed". Every shell runs with a private
// HOME on a private tmux server.
#include "BootTimeSleeper.h"
#include "FakePlatform.h"
#include "TmuxSessions.h"

#include <QCoreApplication>
#include <QDir>
#include <QProcess>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>

using namespace corvane;
using namespace Qt::StringLiterals;

namespace {

constexpr int commands = 60;

struct Figures {
    double median = 0, p95 = 0, max = 0;
};

Figures measure(const QString &tmux, const QString &shell, const QTemporaryDir &dir)
{
    const QString home = dir.filePath(u"home-"_s + QFileInfo(shell).fileName());
    QDir().mkpath(home);
    QFile(home + u"/.zshrc"_s).open(QIODevice::WriteOnly);
    qputenv("HOME", QFile::encodeName(home));
    const QString stamps = dir.filePath(QFileInfo(shell).fileName() + u".stamps"_s);

    testing::FakePlatform platform;
    platform.shell = shell;
    BootTimeSleeper sleeper;
    TmuxSessions sessions(platform, sleeper, tmux, u"bench-"_s + QFileInfo(shell).fileName(),
                          dir.filePath(u"hooks"_s));
    TmuxWindow window{u"bench"_s, dir.path(), {}, false};
    for (int i = 0; i < commands; ++i)
        window.steps.append({u"date +%s%N >> "_s + stamps});
    QSignalSpy ended(&sessions, &TmuxSessions::typingEnded);
    [](TmuxSessions &to, TmuxWindow what) -> QCoro::Task<> {
        if (auto error = co_await to.open(u"bench"_s, what))
            qFatal("%s", qPrintable(error->message));
    }(sessions, window);
    if (!ended.wait(120000))
        qFatal("typing did not end");

    QFile file(stamps);
    QList<double> gaps;
    QList<qint64> times;
    // The last command may still be writing when the typing ends.
    for (int tries = 0; tries < 100 && times.size() < commands; ++tries) {
        QTest::qWait(20);
        times.clear();
        if (file.open(QIODevice::ReadOnly)) {
            for (const QByteArray &line : file.readAll().split('\n'))
                if (!line.isEmpty())
                    times.append(line.toLongLong());
            file.close();
        }
    }
    for (qsizetype i = 2; i < times.size(); ++i) // the first gap includes the shell's start
        gaps.append((times[i] - times[i - 1]) / 1e6);
    std::sort(gaps.begin(), gaps.end());
    QProcess::execute(tmux, {u"-L"_s, u"bench-"_s + QFileInfo(shell).fileName(), u"kill-server"_s});
    if (gaps.isEmpty())
        return {};
    return {gaps[gaps.size() / 2], gaps[qsizetype(gaps.size() * 0.95)], gaps.last()};
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const QString tmux = QStandardPaths::findExecutable(u"tmux"_s);
    if (tmux.isEmpty())
        qFatal("needs tmux");
    QTemporaryDir dir;
    qputenv("TMUX_TMPDIR", QFile::encodeName(dir.path()));
    qputenv("PATH", "/usr/bin:/bin");
    for (const char *name : {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "ZDOTDIR", "TMUX"})
        qunsetenv(name);
    std::printf("%-6s %10s %10s %10s   (ms, start of one command to start of the next, %d)\n",
                "shell", "median", "p95", "max", commands - 2);
    for (const QString &name : {u"bash"_s, u"zsh"_s, u"fish"_s, u"dash"_s}) {
        const QString shell = QStandardPaths::findExecutable(name);
        if (shell.isEmpty())
            continue;
        const Figures figures = measure(tmux, shell, dir);
        std::printf("%-6s %10.1f %10.1f %10.1f\n", qPrintable(name), figures.median, figures.p95,
                    figures.max);
        std::fflush(stdout);
    }
    return 0;
}
