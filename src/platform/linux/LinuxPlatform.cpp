#include "LinuxPlatform.h"

#include "AutostartEntry.h"
#include "ConfigHome.h"
#include "DesktopTerminals.h"
#include "TerminalTable.h"
#include "WarningAlert.h"

#include <QCoreApplication>
#include <QDesktopServices>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

#include <pwd.h>
#include <unistd.h>

namespace corvane {

LinuxPlatform::LinuxPlatform() = default;

LinuxPlatform::~LinuxPlatform() = default;

QString LinuxPlatform::executableName(const QString &bundleIdentifier)
{
    // Terminal and iTerm2 have no Linux build: they have no executable and are never installed.
    const auto app = terminalAppFromBundleIdentifier(bundleIdentifier);
    return app ? qview(traits(*app).linuxExecutable).toString() : QString();
}

QString LinuxPlatform::applicationSupportDirectory() const
{
    return configHome();
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
    return m_spawner.start(command);
}

std::optional<ProcessEnd> LinuxPlatform::endOfLastStarted()
{
    return m_spawner.endOfLastStarted();
}

bool LinuxPlatform::canTypeIntoTerminals() const
{
    return false;
}

QStringList LinuxPlatform::preferredTerminals() const
{
    return desktopPreferredTerminals();
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

std::optional<QString> LinuxPlatform::programPath(const QString &name) const
{
    const QString path = QStandardPaths::findExecutable(name);
    return path.isEmpty() ? std::nullopt : std::optional(path);
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
    showWarningAlert(messageText, informativeText);
}

bool LinuxPlatform::trayIconIsTemplate() const
{
    return false;
}

LoginStart LinuxPlatform::loginStart() const
{
    return AutostartEntry::read(AutostartEntry::path());
}

std::optional<QString> LinuxPlatform::setLoginStart(LoginStart start)
{
    return AutostartEntry::write(AutostartEntry::path(), start,
                                 QCoreApplication::applicationFilePath());
}

} // namespace corvane
