#pragma once

#include "Platform.h"
#include "ScriptError.h"
#include "TerminalTable.h"

#include <optional>

namespace corvane {

// Opens one window of a packed-script terminal (Ghostty, kitty, GNOME Terminal, ...) by starting
// the process the run plan holds for it, and tells a terminal that failed right after starting.
class PackedWindowLauncher final {
public:
    PackedWindowLauncher(Platform &platform, const TerminalTraits &row);

    // Starts the window's process without waiting for it.
    std::optional<ScriptError> launch(const ProcessCommand &process);
    // Asked once the pause after a launch is over: the failure of a terminal that has already
    // ended with an error (a server-style terminal whose server could not open the window).
    std::optional<ScriptError> failureRightAfterStart();

private:
    Platform &m_platform;
    QString m_name;
};

} // namespace corvane
