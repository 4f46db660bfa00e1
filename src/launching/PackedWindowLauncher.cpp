#include "PackedWindowLauncher.h"

namespace corvane {

using namespace Qt::StringLiterals;

PackedWindowLauncher::PackedWindowLauncher(Platform &platform, const TerminalTraits &row)
    : m_platform(platform), m_name(qview(row.displayName).toString())
{
}

std::optional<ScriptError> PackedWindowLauncher::launch(const ProcessCommand &process)
{
    if (const auto reason = m_platform.startProcess(process))
        return ScriptError{0, u"Couldn’t launch "_s + m_name + u": "_s + *reason};
    return std::nullopt;
}

std::optional<ScriptError> PackedWindowLauncher::failureRightAfterStart()
{
    const std::optional<ProcessEnd> end = m_platform.endOfLastStarted();
    if (!end || (end->kind == ProcessEnd::Kind::exited && end->code == 0))
        return std::nullopt; // still running, or it handed the window to a running instance
    const QString how = end->kind == ProcessEnd::Kind::exited
                            ? u"it exited with status %1"_s.arg(end->code)
                            : u"it was stopped by signal %1"_s.arg(end->code);
    QString message = u"Couldn’t launch "_s + m_name + u": "_s + how + u" right after starting."_s;
    if (!end->lastWords.isEmpty())
        message += u"\n\n"_s + end->lastWords;
    return ScriptError{0, message, false};
}

} // namespace corvane
