#include "AppleScriptDriver.h"

#include "Platform.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

void requireScriptable(TerminalApp terminal)
{
    if (launchStyle(terminal) != TerminalLaunchStyle::appleScript)
        qFatal("%s windows are launched via launchPackedWindow",
               qUtf8Printable(displayName(terminal)));
}

} // namespace

AppleScriptDriver::AppleScriptDriver(Platform &platform) : m_platform(platform)
{
}

QString AppleScriptDriver::literal(const QString &command)
{
    QString text = command;
    // Backslashes first, so the ones inserted for quotes stay single.
    text.replace(u'\\', u"\\\\"_s);
    text.replace(u'"', u"\\\""_s);
    text.replace(u'\n', u' ');
    text.replace(u'\r', u' ');
    return u'"' + text + u'"';
}

QString AppleScriptDriver::openScript(const QString &command, TerminalApp terminal)
{
    requireScriptable(terminal);
    if (terminal == TerminalApp::appleTerminal) {
        return u"tell application \"Terminal\"\n    activate\n    do script "_s + literal(command) +
               u"\n    return id of front window\nend tell"_s;
    }
    return u"tell application id \"com.googlecode.iterm2\"\n    activate\n    set newWindow to "
           u"(create window with default profile)\n    tell current session of newWindow to "
           u"write text "_s +
           literal(command) + u"\n    return id of newWindow\nend tell"_s;
}

QString AppleScriptDriver::runScript(const QString &command, std::int64_t windowId,
                                     TerminalApp terminal)
{
    requireScriptable(terminal);
    const QString id = QString::number(windowId);
    if (terminal == TerminalApp::appleTerminal) {
        return u"tell application \"Terminal\"\n    do script "_s + literal(command) +
               u" in tab 1 of window id "_s + id + u"\nend tell"_s;
    }
    return u"tell application id \"com.googlecode.iterm2\"\n    tell current session of window "
           u"id "_s +
           id + u" to write text "_s + literal(command) + u"\nend tell"_s;
}

std::variant<std::int64_t, ScriptError> AppleScriptDriver::openWindowAndRun(const QString &command,
                                                                            TerminalApp terminal)
{
    auto result = execute(openScript(command, terminal));
    if (auto *error = std::get_if<ScriptError>(&result))
        return std::move(*error);
    return static_cast<std::int64_t>(std::get<std::int32_t>(result));
}

std::optional<ScriptError> AppleScriptDriver::run(const QString &command, std::int64_t windowId,
                                                  TerminalApp terminal)
{
    auto result = execute(runScript(command, windowId, terminal));
    if (auto *error = std::get_if<ScriptError>(&result))
        return std::move(*error);
    return std::nullopt;
}

std::variant<std::int32_t, ScriptError> AppleScriptDriver::execute(const QString &source)
{
    const AppleScriptOutcome outcome = m_platform.executeAppleScript(source);
    if (const auto *result = std::get_if<AppleScriptResult>(&outcome))
        return result->value;
    if (const auto *failure = std::get_if<AppleScriptFailure>(&outcome)) {
        return ScriptError{failure->number.value_or(0),
                           failure->message.value_or(QStringLiteral("Unknown AppleScript error."))};
    }
    return ScriptError{0, QStringLiteral("Could not compile AppleScript.")};
}

} // namespace corvane
