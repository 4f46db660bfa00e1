#pragma once

#include "ScriptError.h"
#include "TerminalTable.h"

#include <QString>

#include <cstdint>
#include <optional>
#include <variant>

namespace corvane {

class Platform;

// Drives Terminal and iTerm2 one command at a time: opens a window with a first command, then
// types further commands into that window.
class AppleScriptDriver final {
public:
    explicit AppleScriptDriver(Platform &platform);

    // The command as an AppleScript string literal: backslashes and double quotes escaped, line
    // breaks flattened to spaces so the terminal receives exactly one line.
    static QString literal(const QString &command);
    static QString openScript(const QString &command, const TerminalTraits &terminal);
    static QString runScript(const QString &command, std::int64_t windowId,
                             const TerminalTraits &terminal);
    // The same with the window named by any text, for showing a script whose window is not open.
    static QString runScript(const QString &command, const QString &windowId,
                             const TerminalTraits &terminal);

    // Opens a new window running `command`; gives the new window's identifier.
    std::variant<std::int64_t, ScriptError> openWindowAndRun(const QString &command,
                                                             const TerminalTraits &terminal);
    // Has the window `windowId` run one more command.
    std::optional<ScriptError> run(const QString &command, std::int64_t windowId,
                                   const TerminalTraits &terminal);
    // Runs one script; gives its result as a 32-bit integer.
    std::variant<std::int32_t, ScriptError> execute(const QString &source);

private:
    Platform &m_platform;
};

} // namespace corvane
