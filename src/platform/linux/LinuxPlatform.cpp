#include "LinuxPlatform.h"

#include "TerminalTable.h"

#include <QCoreApplication>
#include <QDesktopServices>
#include <QFile>
#include <QFileInfo>
#include <QMessageBox>
#include <QSocketNotifier>
#include <QStandardPaths>

#include <cerrno>
#include <mutex>
#include <thread>
#include <vector>

#include <pwd.h>
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
// which may outlive the platform.
struct LinuxPlatform::LastStart {
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

// Collects the exit status of a started terminal once it ends, so that it never lingers as a
// zombie, and keeps it if it is still the last one started. A pidfd lets the event loop notice
// the exit.
void reapWhenExited(pid_t pid, std::shared_ptr<LinuxPlatform::LastStart> last)
{
    const int pidFd = static_cast<int>(::syscall(SYS_pidfd_open, pid, 0));
    if (pidFd < 0) {
        // Kernels before 5.3 have no pidfd: a thread of its own waits instead.
        std::thread([pid, last] {
            int status = 0;
            pid_t reaped = 0;
            while ((reaped = ::waitpid(pid, &status, 0)) < 0 && errno == EINTR) {
            }
            if (reaped == pid)
                last->record(pid, status);
        }).detach();
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
}

// Starts `path` in a session of its own (so that signals aimed at Corvane's terminal or process
// group do not reach it), with every signal unblocked and at its default action: a signal that
// Corvane's own parent ignored (SIGHUP under nohup, SIGPIPE) must not stay ignored in the user's
// shells. posix_spawn shares our memory until exec instead of copying it, and reports a failed
// exec as its result.
int spawnDetached(const QByteArray &path, const QList<QByteArray> &arguments,
                  const std::shared_ptr<LinuxPlatform::LastStart> &last)
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
    ::posix_spawnattr_setsigdefault(&attributes, &allSignals);
    ::posix_spawnattr_setflags(&attributes,
                               POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    pid_t pid = 0;
    const int error =
        ::posix_spawn(&pid, path.constData(), nullptr, &attributes, argv.data(), environ);
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

LinuxPlatform::LinuxPlatform() : m_lastStart(std::make_shared<LastStart>())
{
}

LinuxPlatform::~LinuxPlatform() = default;

QString LinuxPlatform::executableName(const QString &bundleIdentifier)
{
    // Terminal and iTerm2 have no Linux build: they have no executable and are never installed.
    const auto app = terminalAppFromBundleIdentifier(bundleIdentifier);
    return app ? qview(traits(*app).linuxExecutable).toString() : QString();
}

QString LinuxPlatform::applicationSupportDirectory() const
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation);
}

std::optional<QString> LinuxPlatform::applicationLocation(const QString &bundleIdentifier) const
{
    const QString name = executableName(bundleIdentifier);
    if (name.isEmpty())
        return std::nullopt;
    const QString path = QStandardPaths::findExecutable(name);
    if (path.isEmpty())
        return std::nullopt;
    return path;
}

std::optional<QString> LinuxPlatform::bundledExecutable(const QString &bundleIdentifier,
                                                        const QString &) const
{
    // A Linux "bundle" is the executable itself, whatever the macOS binary inside is called.
    return applicationLocation(bundleIdentifier);
}

ProcessCommand LinuxPlatform::openCommand(const QString &bundleIdentifier,
                                          const QStringList &openArguments) const
{
    // `open -na X.app --args ...` starts a new instance of X with the arguments after --args.
    const qsizetype separator = openArguments.indexOf(QStringLiteral("--args"));
    const QStringList arguments = separator < 0 ? QStringList{} : openArguments.mid(separator + 1);
    // When the lookup fails the bare name is started anyway, so the failure reads as the
    // system's own "No such file or directory".
    QString program = applicationLocation(bundleIdentifier).value_or(QString{});
    if (program.isEmpty())
        program = executableName(bundleIdentifier);
    return {program, arguments};
}

std::optional<QString> LinuxPlatform::startProcess(const ProcessCommand &command)
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

    const int error = spawnDetached(QFile::encodeName(path), arguments, m_lastStart);
    if (error != 0)
        return qt_error_string(error);
    return std::nullopt;
}

std::optional<ProcessEnd> LinuxPlatform::endOfLastStarted()
{
    const std::lock_guard lock(m_lastStart->mutex);
    if (m_lastStart->end || m_lastStart->pid <= 0)
        return m_lastStart->end;
    // The event loop may not have run the reaper yet: look without reaping, so that the reaper
    // stays the only one to collect the child.
    siginfo_t info{};
    if (::waitid(P_PID, id_t(m_lastStart->pid), &info, WEXITED | WNOHANG | WNOWAIT) != 0 ||
        info.si_pid != m_lastStart->pid)
        return std::nullopt;
    if (info.si_code == CLD_EXITED)
        return ProcessEnd{ProcessEnd::Kind::exited, info.si_status};
    return ProcessEnd{ProcessEnd::Kind::signalled, info.si_status};
}

bool LinuxPlatform::canTypeIntoTerminals() const
{
    return false;
}

QStringList LinuxPlatform::preferredTerminals() const
{
    QStringList preferred;
    const auto add = [&](const QString &executablePath) {
        // Debian's alternatives point at wrappers such as gnome-terminal.wrapper.
        QString name = QFileInfo(executablePath).fileName();
        if (name.endsWith(u".wrapper"))
            name.chop(8);
        for (const TerminalTraits &row : terminalTable) {
            if (!row.linuxExecutable.empty() && name == qview(row.linuxExecutable)) {
                const QString id = qview(row.bundleIdentifier).toString();
                if (!preferred.contains(id))
                    preferred.append(id);
            }
        }
    };
    // $TERMINAL may carry arguments ("kitty -1"); its first word names the program.
    const QString terminal = qEnvironmentVariable("TERMINAL").trimmed();
    if (!terminal.isEmpty())
        add(terminal.section(u' ', 0, 0));
    if (const QString alternative =
            QStandardPaths::findExecutable(QStringLiteral("x-terminal-emulator"));
        !alternative.isEmpty())
        add(QFileInfo(alternative).canonicalFilePath());
    return preferred;
}

void LinuxPlatform::openUrl(const QUrl &url)
{
    // Platform plugins without desktop services (offscreen, minimal) refuse every URL; xdg-open is
    // what the desktop plugins run for a custom scheme anyway.
    if (!QDesktopServices::openUrl(url))
        startProcess({QStringLiteral("xdg-open"), {url.toString(QUrl::FullyEncoded)}});
}

AppleScriptOutcome LinuxPlatform::executeAppleScript(const QString &)
{
    return std::monostate{};
}

QString LinuxPlatform::windowShell() const
{
    if (const passwd *entry = ::getpwuid(::getuid()); entry && entry->pw_shell && *entry->pw_shell)
        return QFile::decodeName(entry->pw_shell);
    const QString shell = qEnvironmentVariable("SHELL");
    if (!shell.isEmpty())
        return shell;
    return QStringLiteral("/bin/sh");
}

void LinuxPlatform::showAlert(const QString &messageText, const QString &informativeText)
{
    QMessageBox box(QMessageBox::Warning, QStringLiteral("Corvane"), messageText, QMessageBox::Ok);
    box.setInformativeText(informativeText);
    box.show();
    box.raise();
    box.activateWindow();
    box.exec();
}

} // namespace corvane
