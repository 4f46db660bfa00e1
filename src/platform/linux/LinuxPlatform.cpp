#include "LinuxPlatform.h"

#include "AutostartEntry.h"
#include "ConfigHome.h"
#include "DesktopTerminals.h"
#include "LinuxTerminals.h"
#include "TerminalTable.h"
#include "WarningAlert.h"

#include <QCoreApplication>
#include <QDesktopServices>
#include <QFile>
#include <QStandardPaths>

#include <pwd.h>
#include <unistd.h>

namespace corvane {

LinuxPlatform::System LinuxPlatform::realSystem()
{
    return {
        .findProgram = [](const QString &name) { return QStandardPaths::findExecutable(name); }};
}

LinuxPlatform::LinuxPlatform(System system) : m_system(std::move(system))
{
}

LinuxPlatform::~LinuxPlatform() = default;

QString LinuxPlatform::applicationSupportDirectory() const
{
    return configHome();
}

bool LinuxPlatform::supports(TerminalApp terminal) const
{
    return !linuxTerminal(terminal).program.empty();
}

std::optional<QString> LinuxPlatform::terminalLocation(TerminalApp terminal) const
{
    if (!supports(terminal))
        return std::nullopt;
    const QString path = m_system.findProgram(qview(linuxTerminal(terminal).program).toString());
    return path.isEmpty() ? std::nullopt : std::optional(path);
}

ProcessCommand LinuxPlatform::newWindowCommand(TerminalApp, const QString &location,
                                               const QStringList &arguments) const
{
    // Every terminal here opens a window when its program is started.
    return {location, arguments};
}

QList<TerminalApp> LinuxPlatform::preferredTerminals() const
{
    return desktopPreferredTerminals();
}

std::optional<QString> LinuxPlatform::startProcess(const ProcessCommand &command)
{
    return m_spawner.start(command);
}

std::optional<ProcessEnd> LinuxPlatform::endOfLastStarted()
{
    return m_spawner.endOfLastStarted();
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
    const QString path = m_system.findProgram(name);
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
