#include "DetachedSpawner.h"

#include <QCoreApplication>
#include <QFile>
#include <QSocketNotifier>
#include <QStandardPaths>

#include <cerrno>
#include <csignal>
#include <mutex>
#include <thread>
#include <vector>

#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

extern char **environ;

namespace corvane {

namespace {

std::optional<ProcessEnd> endFromStatus(int status)
{
    if (WIFEXITED(status))
        return ProcessEnd{ProcessEnd::Kind::exited, WEXITSTATUS(status)};
    if (WIFSIGNALED(status))
        return ProcessEnd{ProcessEnd::Kind::signalled, WTERMSIG(status)};
    return std::nullopt;
}

} // namespace

// The process started last and, once it has been reaped, how it ended. Shared with the reaper,
// which may outlive the spawner.
struct DetachedSpawner::LastStart {
    std::mutex mutex;
    pid_t pid = 0;
    std::optional<ProcessEnd> end;

    void record(pid_t reaped, int status)
    {
        const std::lock_guard lock(mutex);
        if (reaped == pid)
            end = endFromStatus(status);
    }
};

namespace {

using LastStart = DetachedSpawner::LastStart;

void reapOnThread(pid_t pid, std::shared_ptr<LastStart> last)
{
    std::thread([pid, last] {
        int status = 0;
        pid_t reaped = 0;
        while ((reaped = ::waitpid(pid, &status, 0)) < 0 && errno == EINTR) {
        }
        if (reaped == pid)
            last->record(pid, status);
    }).detach();
}

// Collects the exit status of a started terminal once it ends, so that it never lingers as a
// zombie, and keeps it if it is still the last one started. Where the kernel has pidfds (Linux
// 5.3 and later) the event loop notices the exit; elsewhere a thread of its own waits.
void reapWhenExited(pid_t pid, std::shared_ptr<LastStart> last)
{
#ifdef SYS_pidfd_open
    const int pidFd = static_cast<int>(::syscall(SYS_pidfd_open, pid, 0));
    if (pidFd < 0) {
        reapOnThread(pid, std::move(last));
        return;
    }
    // Owned by the application, so that watchers of terminals that outlive Corvane are freed
    // when it quits.
    auto *notifier =
        new QSocketNotifier(pidFd, QSocketNotifier::Read, QCoreApplication::instance());
    QObject::connect(notifier, &QSocketNotifier::activated, notifier, [notifier, pid, pidFd, last] {
        notifier->setEnabled(false);
        int status = 0;
        if (::waitpid(pid, &status, WNOHANG) == pid)
            last->record(pid, status);
        ::close(pidFd);
        notifier->deleteLater();
    });
#else
    reapOnThread(pid, std::move(last));
#endif
}

// Starts `path` in a session of its own (so that signals aimed at Corvane's terminal or process
// group do not reach it), with every signal unblocked and at its default action: a signal that
// Corvane's own parent ignored (SIGHUP under nohup, SIGPIPE) must not stay ignored in the user's
// shells. posix_spawn shares our memory until exec instead of copying it, and reports a failed
// exec as its result.
int spawnDetached(const QByteArray &path, const QList<QByteArray> &arguments,
                  const QByteArray &directory, const std::shared_ptr<LastStart> &last)
{
    std::vector<char *> argv;
    argv.reserve(static_cast<size_t>(arguments.size()) + 1);
    for (const QByteArray &argument : arguments)
        argv.push_back(const_cast<char *>(argument.constData()));
    argv.push_back(nullptr);

    posix_spawnattr_t attributes;
    ::posix_spawnattr_init(&attributes);
    sigset_t noSignals;
    ::sigemptyset(&noSignals);
    ::posix_spawnattr_setsigmask(&attributes, &noSignals);
    sigset_t allSignals;
    ::sigfillset(&allSignals);
    // Neither can be caught or ignored; macOS may refuse a spawn that names them.
    ::sigdelset(&allSignals, SIGKILL);
    ::sigdelset(&allSignals, SIGSTOP);
    ::posix_spawnattr_setsigdefault(&attributes, &allSignals);
    ::posix_spawnattr_setflags(&attributes,
                               POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    // A terminal passes its own working directory to the shell of its window (server-style ones
    // send it to their server along with the request).
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    if (!directory.isEmpty())
        ::posix_spawn_file_actions_addchdir_np(&actions, directory.constData());
    pid_t pid = 0;
    const int error =
        ::posix_spawn(&pid, path.constData(), &actions, &attributes, argv.data(), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    ::posix_spawnattr_destroy(&attributes);
    if (error == 0) {
        {
            const std::lock_guard lock(last->mutex);
            last->pid = pid;
            last->end.reset();
        }
        reapWhenExited(pid, last);
    }
    return error;
}

} // namespace

DetachedSpawner::DetachedSpawner() : m_lastStart(std::make_shared<LastStart>())
{
}

DetachedSpawner::~DetachedSpawner() = default;

std::optional<QString> DetachedSpawner::start(const ProcessCommand &command)
{
    QString path = command.program;
    if (!path.contains(u'/')) {
        path = QStandardPaths::findExecutable(command.program);
        if (path.isEmpty())
            return qt_error_string(ENOENT);
    }
    QList<QByteArray> arguments;
    arguments.reserve(command.arguments.size() + 1);
    arguments.append(QFile::encodeName(command.program));
    for (const QString &argument : command.arguments)
        arguments.append(argument.toUtf8());

    const int error = spawnDetached(QFile::encodeName(path), arguments,
                                    QFile::encodeName(command.workingDirectory), m_lastStart);
    if (error != 0)
        return qt_error_string(error);
    return std::nullopt;
}

std::optional<ProcessEnd> DetachedSpawner::endOfLastStarted()
{
    const std::lock_guard lock(m_lastStart->mutex);
    if (m_lastStart->end || m_lastStart->pid <= 0)
        return m_lastStart->end;
    // The reaper may not have run yet: look without reaping, so that it stays the only one to
    // collect the child.
    siginfo_t info{};
    if (::waitid(P_PID, id_t(m_lastStart->pid), &info, WEXITED | WNOHANG | WNOWAIT) != 0 ||
        info.si_pid != m_lastStart->pid)
        return std::nullopt;
    if (info.si_code == CLD_EXITED)
        return ProcessEnd{ProcessEnd::Kind::exited, info.si_status};
    return ProcessEnd{ProcessEnd::Kind::signalled, info.si_status};
}

} // namespace corvane
