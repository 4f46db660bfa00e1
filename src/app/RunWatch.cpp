#include "RunWatch.h"

#include "TerminalRunner.h"

namespace corvane {

RunWatch::RunWatch(Platform &platform) : m_platform(platform)
{
}

void RunWatch::watch(TerminalRunner &runner)
{
    QObject::connect(&runner, &TerminalRunner::isRunningChanged, &runner, [this](bool running) {
        if (!running)
            tell(std::nullopt);
    });
}

void RunWatch::whenKnown(Outcome outcome)
{
    m_waiting.push_back(std::move(outcome));
}

void RunWatch::tell(const std::optional<QString> &alert)
{
    // Taken first: an outcome may start what ends in this very call again.
    const std::vector<Outcome> waiting = std::exchange(m_waiting, {});
    for (const Outcome &outcome : waiting)
        outcome(alert);
}

void RunWatch::showAlert(const QString &messageText, const QString &informativeText)
{
    QString text = messageText;
    if (!informativeText.isEmpty())
        text +=
            (text.endsWith(u'.') ? QStringLiteral(" ") : QStringLiteral(": ")) + informativeText;
    tell(text.simplified());
    m_platform.showAlert(messageText, informativeText);
}

QString RunWatch::applicationSupportDirectory() const
{
    return m_platform.applicationSupportDirectory();
}

std::optional<QString> RunWatch::applicationLocation(const QString &bundleIdentifier) const
{
    return m_platform.applicationLocation(bundleIdentifier);
}

std::optional<QString> RunWatch::bundledExecutable(const QString &bundleIdentifier,
                                                   const QString &executableName) const
{
    return m_platform.bundledExecutable(bundleIdentifier, executableName);
}

ProcessCommand RunWatch::openCommand(const QString &bundleIdentifier,
                                     const QStringList &openArguments) const
{
    return m_platform.openCommand(bundleIdentifier, openArguments);
}

std::optional<QString> RunWatch::startProcess(const ProcessCommand &command)
{
    return m_platform.startProcess(command);
}

std::optional<ProcessEnd> RunWatch::endOfLastStarted()
{
    return m_platform.endOfLastStarted();
}

void RunWatch::openUrl(const QUrl &url)
{
    m_platform.openUrl(url);
}

AppleScriptOutcome RunWatch::executeAppleScript(const QString &source)
{
    return m_platform.executeAppleScript(source);
}

bool RunWatch::canTypeIntoTerminals() const
{
    return m_platform.canTypeIntoTerminals();
}

QStringList RunWatch::preferredTerminals() const
{
    return m_platform.preferredTerminals();
}

std::optional<QString> RunWatch::programPath(const QString &name) const
{
    return m_platform.programPath(name);
}

QString RunWatch::windowShell() const
{
    return m_platform.windowShell();
}

bool RunWatch::trayIconIsTemplate() const
{
    return m_platform.trayIconIsTemplate();
}

LoginStart RunWatch::loginStart() const
{
    return m_platform.loginStart();
}

std::optional<QString> RunWatch::setLoginStart(LoginStart start)
{
    return m_platform.setLoginStart(start);
}

QString RunWatch::loginStartNote() const
{
    return m_platform.loginStartNote();
}

std::shared_ptr<void> RunWatch::holdRunActivity()
{
    return m_platform.holdRunActivity();
}

} // namespace corvane
