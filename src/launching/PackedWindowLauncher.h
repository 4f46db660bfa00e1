#pragma once

#include "Platform.h"
#include "ScriptError.h"
#include "TerminalApp.h"

#include <QString>
#include <QStringList>

#include <optional>
#include <variant>

namespace corvane {

// Opens one window of Ghostty, kitty, WezTerm, Alacritty or Tabby that runs a packed command in
// an interactive login shell and then stays open at a new prompt.
class PackedWindowLauncher final {
public:
    explicit PackedWindowLauncher(Platform &platform);

    // The process that would open the window, or why it cannot be built (not installed).
    std::variant<ProcessCommand, ScriptError> windowProcess(const QString &script,
                                                            TerminalApp terminal) const;
    // Starts that process without waiting for it.
    std::optional<ScriptError> launchPackedWindow(const QString &script, TerminalApp terminal);

private:
    Platform &m_platform;
    QString m_shell;
};

} // namespace corvane
