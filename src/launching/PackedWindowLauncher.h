#pragma once

#include "Platform.h"
#include "ScriptError.h"
#include "TerminalApp.h"

#include <QString>
#include <QStringList>

#include <optional>
#include <variant>

namespace corvane {

// Opens one window of a packed-script terminal (Ghostty, kitty, GNOME Terminal, ...) that runs a
// packed command in an interactive login shell and then stays open at a new prompt.
class PackedWindowLauncher final {
public:
    explicit PackedWindowLauncher(Platform &platform);

    // The process that would open the window, or why it cannot be built (not installed).
    std::variant<ProcessCommand, ScriptError> windowProcess(const QString &script,
                                                            TerminalApp terminal) const;
    // Starts that process without waiting for it.
    std::optional<ScriptError> launchPackedWindow(const QString &script, TerminalApp terminal);
    // Asked once the pause after a launch is over: the failure of a terminal that has already
    // ended with an error (a server-style terminal whose server could not open the window).
    std::optional<ScriptError> failureRightAfterStart(TerminalApp terminal);

private:
    Platform &m_platform;
    QString m_shell;
};

} // namespace corvane
