#include "LinuxPlatform.h"

#include <QCoreApplication>
#include <QDesktopServices>
#include <QFile>
#include <QMessageBox>
#include <QSocketNotifier>
#include <QStandardPaths>

#include <cerrno>
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

struct KnownExecutable {
    QStringView bundleIdentifier;
    QStringView executable;
};

// Terminal and iTerm2 have no Linux build, so they are deliberately absent: never installed.
constexpr KnownExecutable knownExecutables[] = {
    {u"com.mitchellh.ghostty", u"ghostty"}, {u"dev.warp.Warp-Stable", u"warp-terminal"},
    {u"net.kovidgoyal.kitty", u"kitty"},    {u"com.github.wez.wezterm", u"wezterm"},
    {u"org.alacritty", u"alacritty"},       {u"org.tabby", u"tabby"},
};

// Collects the exit status of a started terminal once it ends, so that it never lingers as a
// zombie; its status itself is not looked at. A pidfd lets the event loop notice the exit.
void reapWhenExited(pid_t pid)
{
    const int pidFd = static_cast<int>(::syscall(SYS_pidfd_open, pid, 0));
    if (pidFd < 0) {
        // Kernels before 5.3 have no pidfd: a thread of its own waits instead.
        std::thread([pid] {
            while (::waitpid(pid, nullptr, 0) < 0 && errno == EINTR) {
            }
        }).detach();
        return;
    }
    // Owned by the application, so that watchers of terminals that outlive Corvane are freed
    // when it quits.
    auto *notifier =
        new QSocketNotifier(pidFd, QSocketNotifier::Read, QCoreApplication::instance());
    QObject::connect(notifier, &QSocketNotifier::activated, notifier, [notifier, pid, pidFd] {
        notifier->setEnabled(false);
        ::waitpid(pid, nullptr, WNOHANG);
        ::close(pidFd);
        notifier->deleteLater();
    });
}

// Starts `path` in a session of its own (so that signals aimed at Corvane's terminal or process
// group do not reach it), with every signal unblocked and at its default action: a signal that
// Corvane's own parent ignored (SIGHUP under nohup, SIGPIPE) must not stay ignored in the user's
// shells. posix_spawn shares our memory until exec instead of copying it, and reports a failed
// exec as its result.
int spawnDetached(const QByteArray &path, const QList<QByteArray> &arguments)
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
    if (error == 0)
        reapWhenExited(pid);
    return error;
}

} // namespace

QString LinuxPlatform::executableName(const QString &bundleIdentifier)
{
    for (const KnownExecutable &known : knownExecutables) {
        if (known.bundleIdentifier == bundleIdentifier)
            return known.executable.toString();
    }
    return {};
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

    const int error = spawnDetached(QFile::encodeName(path), arguments);
    if (error != 0)
        return qt_error_string(error);
    return std::nullopt;
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
