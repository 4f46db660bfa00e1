#include "AppleScriptDriver.h"

#include "Platform.h"
#include "TerminalTable.h"
#include "TextEscapes.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

const TerminalTraits &scriptable(const TerminalTraits &row)
{
    if (row.launchStyle != TerminalLaunchStyle::appleScript)
        qFatal("%s windows are not driven with AppleScript",
               qUtf8Printable(qview(row.displayName).toString()));
    return row;
}

// The template with its slots filled. The template is walked, not searched and replaced, so a
// command that happens to contain a slot's text is inserted as it is.
QString fill(std::u16string_view script, const QString &literal, const QString &windowId)
{
    QString text;
    text.reserve(qsizetype(script.size()) + literal.size());
    while (!script.empty()) {
        if (script.starts_with(scriptCommandSlot)) {
            text += literal;
            script.remove_prefix(scriptCommandSlot.size());
        } else if (script.starts_with(scriptWindowSlot)) {
            text += windowId;
            script.remove_prefix(scriptWindowSlot.size());
        } else {
            text += QChar(script.front());
            script.remove_prefix(1);
        }
    }
    return text;
}

} // namespace

AppleScriptDriver::AppleScriptDriver(Platform &platform) : m_platform(platform)
{
}

QString AppleScriptDriver::literal(const QString &command)
{
    QString text = command;
    text.replace(u'\n', u' ');
    text.replace(u'\r', u' ');
    return doubleQuoted(text);
}

QString AppleScriptDriver::openScript(const QString &command, const TerminalTraits &terminal)
{
    return fill(scriptable(terminal).openScript, literal(command), {});
}

QString AppleScriptDriver::runScript(const QString &command, std::int64_t windowId,
                                     const TerminalTraits &terminal)
{
    return runScript(command, QString::number(windowId), terminal);
}

QString AppleScriptDriver::runScript(const QString &command, const QString &windowId,
                                     const TerminalTraits &terminal)
{
    return fill(scriptable(terminal).runScript, literal(command), windowId);
}

std::variant<std::int64_t, ScriptError>
AppleScriptDriver::openWindowAndRun(const QString &command, const TerminalTraits &terminal)
{
    auto result = execute(openScript(command, terminal));
    if (auto *error = std::get_if<ScriptError>(&result))
        return std::move(*error);
    return static_cast<std::int64_t>(std::get<std::int32_t>(result));
}

std::optional<ScriptError> AppleScriptDriver::run(const QString &command, std::int64_t windowId,
                                                  const TerminalTraits &terminal)
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
