#include "DetachedSpawner.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QSocketNotifier>
#include <QStandardPaths>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <mutex>
#include <thread>
#include <vector>

#include <fcntl.h>
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

// A file for a child's standard error that no name leads to: the child can write to it for as
// long as it lives, whatever becomes of Corvane (a pipe would kill it once Corvane is gone), and
// the disk space goes back when both have closed it. -1 when none can be made.
int anonymousFile()
{
    QByteArray path = QFile::encodeName(QDir::tempPath()) + "/corvane-stderr-XXXXXX";
    const int fd = ::mkostemp(path.data(), O_CLOEXEC);
    if (fd >= 0)
        ::unlink(path.constData());
    return fd;
}

// The last non-empty lines of what a child wrote to `fd`, as many as fit in about 300
// characters: where terminals say why they gave up.
QString lastWords(int fd)
{
    constexpr qsizetype limit = 300;
    const off_t size = ::lseek(fd, 0, SEEK_END);
    if (size <= 0)
        return {};
    QByteArray tail(qsizetype(std::min<off_t>(size, 4096)), '\0');
    const ssize_t got = ::pread(fd, tail.data(), size_t(tail.size()), size - tail.size());
    if (got <= 0)
        return {};
    tail.truncate(got);
    QStringList words;
    qsizetype length = 0;
    const QStringList lines = QString::fromUtf8(tail).split(u'\n');
    for (auto line = lines.crbegin(); line != lines.crend(); ++line) {
        const QString text = line->trimmed();
        if (text.isEmpty())
            continue;
        if (words.isEmpty() && text.size() > limit)
            return u'…' + text.right(limit);
        if (length + text.size() > limit)
            break;
        words.prepend(text);
        length += text.size() + 1;
    }
    return words.join(u'\n');
}

} // namespace

// The process started last, the file that holds its standard error and, once it has been
// reaped, how it ended. Shared with the reaper, which may outlive the spawner.
struct DetachedSpawner::LastStart {
    std::mutex mutex;
    pid_t pid = 0;
    int errorFile = -1;
    std::optional<ProcessEnd> end;

    ~LastStart() { replaceErrorFile(-1); }

    void replaceErrorFile(int fd)
    {
        if (errorFile >= 0)
            ::close(errorFile);
        errorFile = fd;
    }

    void record(pid_t reaped, int status)
    {
        const std::lock_guard lock(mutex);
        if (reaped == pid)
            end = endFromStatus(status);
    }

    // `ended`, with the child's last words when it failed. Called with the mutex held.
    ProcessEnd withLastWords(ProcessEnd ended) const
    {
        const bool failed = ended.kind == ProcessEnd::Kind::signalled || ended.code != 0;
        if (failed && errorFile >= 0)
            ended.lastWords = lastWords(errorFile);
        return ended;
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
    // Standard error goes to a file of its own, read only if the child fails at once. A terminal
    // passes its own working directory to the shell of its window (server-style ones send it to
    // their server along with the request).
    const int errorFile = anonymousFile();
    posix_spawn_file_actions_t files;
    ::posix_spawn_file_actions_init(&files);
    if (errorFile >= 0)
        ::posix_spawn_file_actions_adddup2(&files, errorFile, STDERR_FILENO);
    if (!directory.isEmpty())
        ::posix_spawn_file_actions_addchdir_np(&files, directory.constData());
    pid_t pid = 0;
    const int error =
        ::posix_spawn(&pid, path.constData(), &files, &attributes, argv.data(), environ);
    ::posix_spawn_file_actions_destroy(&files);
    ::posix_spawnattr_destroy(&attributes);
    if (error != 0) {
        if (errorFile >= 0)
            ::close(errorFile);
        return error;
    }
    {
        const std::lock_guard lock(last->mutex);
        last->pid = pid;
        last->replaceErrorFile(errorFile);
        last->end.reset();
    }
    reapWhenExited(pid, last);
    return 0;
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
    if (m_lastStart->pid <= 0)
        return std::nullopt;
    if (m_lastStart->end)
        return m_lastStart->withLastWords(*m_lastStart->end);
    // The reaper may not have run yet: look without reaping, so that it stays the only one to
    // collect the child.
    siginfo_t info{};
    if (::waitid(P_PID, id_t(m_lastStart->pid), &info, WEXITED | WNOHANG | WNOWAIT) != 0 ||
        info.si_pid != m_lastStart->pid)
        return std::nullopt;
    // A child that was stopped or continued has not ended, though some systems report it here.
    switch (info.si_code) {
    case CLD_EXITED:
        return m_lastStart->withLastWords({ProcessEnd::Kind::exited, info.si_status});
    case CLD_KILLED:
    case CLD_DUMPED:
        return m_lastStart->withLastWords({ProcessEnd::Kind::signalled, info.si_status});
    default:
        return std::nullopt;
    }
}

} // namespace corvane
