#include "MacPlatform.h"

#include "MacTerminals.h"
#include "WarningAlert.h"

#include <QDesktopServices>
#include <QStandardPaths>

namespace corvane {

using namespace Qt::StringLiterals;

MacPlatform::MacPlatform(System system)
    : m_system(std::move(system)), m_osascript(m_system.osascript, m_system.scriptDeadline)
{
}

MacPlatform::~MacPlatform() = default;

QString MacPlatform::applicationSupportDirectory() const
{
    // ~/Library/Application Support itself; AppDataLocation would add an application folder.
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
}

bool MacPlatform::supports(TerminalApp terminal) const
{
    return !macTerminal(terminal).bundleIdentifier.empty();
}

std::optional<QString> MacPlatform::terminalLocation(TerminalApp terminal) const
{
    if (!supports(terminal) || !m_system.findApplication)
        return std::nullopt;
    return m_system.findApplication(qview(macTerminal(terminal).bundleIdentifier).toString());
}

ProcessCommand MacPlatform::newWindowCommand(TerminalApp terminal, const QString &location,
                                             const QStringList &arguments) const
{
    const MacTerminal &row = macTerminal(terminal);
    // `open` finds the application by its name and starts a new instance of it.
    if (!row.openName.empty())
        return {m_system.open,
                QStringList{u"-na"_s, qview(row.openName).toString(), u"--args"_s} + arguments};
    // Whether the program exists is left to the start, which then names the system's reason.
    return {location + u"/Contents/MacOS/"_s + qview(row.bundledProgram).toString(), arguments};
}

QList<TerminalApp> MacPlatform::preferredTerminals() const
{
    // Every Mac has Terminal.
    return {TerminalApp::appleTerminal};
}

std::optional<QString> MacPlatform::startProcess(const ProcessCommand &command)
{
    return m_spawner.start(command);
}

std::optional<ProcessEnd> MacPlatform::endOfLastStarted()
{
    // For terminals started through `open` this is open's own exit status: it fails when Launch
    // Services cannot find or start the application.
    return m_spawner.endOfLastStarted();
}

void MacPlatform::openUrl(const QUrl &url)
{
    // QDesktopServices is NSWorkspace's openURL: here; `open` is the same request from outside.
    if (!QDesktopServices::openUrl(url))
        startProcess({m_system.open, {url.toString(QUrl::FullyEncoded)}});
}

AppleScriptOutcome MacPlatform::executeAppleScript(const QString &source)
{
    return m_osascript.execute(source);
}

std::optional<QString> MacPlatform::programPath(const QString &name) const
{
    // An application started from the Dock or at login gets launchd's short PATH, without the
    // package managers' folders where tmux lives.
    QString path = QStandardPaths::findExecutable(name);
    if (path.isEmpty()) {
        path = QStandardPaths::findExecutable(
            name, {u"/opt/homebrew/bin"_s, u"/usr/local/bin"_s, u"/opt/local/bin"_s});
    }
    return path.isEmpty() ? std::nullopt : std::optional(path);
}

QString MacPlatform::windowShell() const
{
    return u"/bin/zsh"_s;
}

void MacPlatform::showAlert(const QString &messageText, const QString &informativeText)
{
    // A menu-bar-only application is not active, and its alert would open behind the
    // application in front.
    if (m_system.activate)
        m_system.activate();
    showWarningAlert(messageText, informativeText);
}

bool MacPlatform::trayIconIsTemplate() const
{
    return true;
}

QStringList MacPlatform::withoutProcessSerialNumber(QStringList arguments)
{
    arguments.removeIf([](const QString &argument) { return argument.startsWith(u"-psn_"); });
    return arguments;
}

namespace {

bool registered(LoginItemStatus status)
{
    return status == LoginItemStatus::enabled || status == LoginItemStatus::requiresApproval;
}

} // namespace

LoginStart MacPlatform::loginStart() const
{
    // Registered counts, even before the user allowed it: the note says what is missing.
    if (registered(m_system.loginItemStatus(LoginItem::runAgent)))
        return LoginStart::startAndRun;
    if (registered(m_system.loginItemStatus(LoginItem::app)))
        return LoginStart::start;
    return LoginStart::off;
}

std::optional<QString> MacPlatform::setLoginStart(LoginStart start)
{
    // One item at most: with both, a login would start Corvane twice. The unwanted one goes
    // first, so that a failure never leaves both.
    const std::pair<LoginItem, bool> items[] = {
        {LoginItem::app, start == LoginStart::start},
        {LoginItem::runAgent, start == LoginStart::startAndRun},
    };
    for (const auto &[item, wanted] : items) {
        if (!wanted && registered(m_system.loginItemStatus(item))) {
            if (auto problem = m_system.registerLoginItem(item, false))
                return problem;
        }
    }
    for (const auto &[item, wanted] : items) {
        if (!wanted)
            continue;
        // Registering fails when the user has still to allow it; the item is in place then.
        auto problem = m_system.registerLoginItem(item, true);
        if (problem && m_system.loginItemStatus(item) != LoginItemStatus::requiresApproval)
            return problem;
    }
    return std::nullopt;
}

QString MacPlatform::loginStartNote() const
{
    for (LoginItem item : {LoginItem::app, LoginItem::runAgent}) {
        if (m_system.loginItemStatus(item) == LoginItemStatus::requiresApproval)
            return u"Turn Corvane on in System Settings → General → Login Items."_s;
    }
    return {};
}

std::shared_ptr<void> MacPlatform::holdRunActivity()
{
    return m_system.beginActivity ? m_system.beginActivity() : nullptr;
}

} // namespace corvane
