#include "PackedWindowLauncher.h"

#include "TerminalTable.h"

namespace corvane {

using namespace Qt::StringLiterals;

// The login shell is looked up once per launcher (one run), not once per window.
PackedWindowLauncher::PackedWindowLauncher(Platform &platform)
    : m_platform(platform), m_shell(platform.windowShell())
{
}

std::variant<ProcessCommand, ScriptError>
PackedWindowLauncher::windowProcess(const QString &script, TerminalApp terminal) const
{
    const TerminalTraits &row = traits(terminal);
    if (row.starter == TerminalStarter::none)
        qFatal("%s does not use packed-script launching", qUtf8Printable(displayName(terminal)));

    // Once the commands end, the shell replaces itself with a fresh login shell so that the
    // window stays open at a prompt.
    const QString windowCommand = script + u"; exec "_s + m_shell + u" -il"_s;

    QStringList arguments;
    for (std::u16string_view argument : row.arguments) {
        if (argument.empty())
            break;
        arguments.append(argument == windowShellPlaceholder ? m_shell : qview(argument).toString());
    }
    arguments.append(windowCommand);

    if (row.starter == TerminalStarter::open)
        return m_platform.openCommand(bundleIdentifier(terminal), arguments);

    const auto program = m_platform.bundledExecutable(bundleIdentifier(terminal),
                                                      qview(row.bundleExecutable).toString());
    if (!program)
        return ScriptError{0, displayName(terminal) + u" doesn’t seem to be installed."_s};
    return ProcessCommand{*program, arguments};
}

std::optional<ScriptError> PackedWindowLauncher::launchPackedWindow(const QString &script,
                                                                    TerminalApp terminal)
{
    auto process = windowProcess(script, terminal);
    if (auto *error = std::get_if<ScriptError>(&process))
        return std::move(*error);
    if (const auto reason = m_platform.startProcess(std::get<ProcessCommand>(process)))
        return ScriptError{0, u"Couldn’t launch "_s + displayName(terminal) + u": "_s + *reason};
    return std::nullopt;
}

std::optional<ScriptError> PackedWindowLauncher::failureRightAfterStart(TerminalApp terminal)
{
    const std::optional<ProcessEnd> end = m_platform.endOfLastStarted();
    if (!end || (end->kind == ProcessEnd::Kind::exited && end->code == 0))
        return std::nullopt; // still running, or it handed the window to a running instance
    const QString how = end->kind == ProcessEnd::Kind::exited
                            ? u"it exited with status %1"_s.arg(end->code)
                            : u"it was stopped by signal %1"_s.arg(end->code);
    QString message =
        u"Couldn’t launch "_s + displayName(terminal) + u": "_s + how + u" right after starting."_s;
    if (!end->lastWords.isEmpty())
        message += u"\n\n"_s + end->lastWords;
    return ScriptError{0, message, false};
}

} // namespace corvane
