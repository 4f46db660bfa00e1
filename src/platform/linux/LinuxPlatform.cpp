#include "LinuxPlatform.h"

#include <QDesktopServices>
#include <QFile>
#include <QMessageBox>
#include <QStandardPaths>

#include <cerrno>
#include <vector>

#include <fcntl.h>
#include <pwd.h>
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

// Writes all of `size` bytes, retrying after signals; used between fork and exec.
void writeAll(int fd, const void *data, size_t size)
{
    const auto *bytes = static_cast<const char *>(data);
    while (size > 0) {
        const ssize_t written = ::write(fd, bytes, size);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return;
        bytes += written;
        size -= static_cast<size_t>(written);
    }
}

// Starts `path` as a grandchild in its own session: the intermediate child exits at once and is
// reaped here, so the terminal is adopted by init and never becomes our zombie. The exec error,
// if any, comes back through a close-on-exec pipe. Returns 0 or the errno of the failure.
int spawnDetached(const QByteArray &path, const QList<QByteArray> &arguments)
{
    // Everything the children touch is prepared before fork: only async-signal-safe calls follow.
    std::vector<char *> argv;
    argv.reserve(static_cast<size_t>(arguments.size()) + 1);
    for (const QByteArray &argument : arguments)
        argv.push_back(const_cast<char *>(argument.constData()));
    argv.push_back(nullptr);
    char **const envp = environ;

    int pipeFds[2];
    if (::pipe2(pipeFds, O_CLOEXEC) != 0)
        return errno;

    const pid_t middle = ::fork();
    if (middle < 0) {
        const int error = errno;
        ::close(pipeFds[0]);
        ::close(pipeFds[1]);
        return error;
    }
    if (middle == 0) {
        ::close(pipeFds[0]);
        ::setsid();
        const pid_t child = ::fork();
        if (child == 0) {
            ::execve(path.constData(), argv.data(), envp);
            const int error = errno;
            writeAll(pipeFds[1], &error, sizeof error);
            ::_exit(127);
        }
        if (child < 0) {
            const int error = errno;
            writeAll(pipeFds[1], &error, sizeof error);
        }
        ::_exit(0);
    }

    ::close(pipeFds[1]);
    int error = 0;
    ssize_t received = 0;
    do {
        received = ::read(pipeFds[0], &error, sizeof error);
    } while (received < 0 && errno == EINTR);
    ::close(pipeFds[0]);
    while (::waitpid(middle, nullptr, 0) < 0 && errno == EINTR) {
    }
    return received == static_cast<ssize_t>(sizeof error) ? error : 0;
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
