#pragma once

#include <QMetaType>
#include <QString>

#include <array>
#include <cstddef>
#include <optional>

namespace corvane {

// How the runner opens a terminal's windows.
enum class TerminalLaunchStyle {
    appleScript,             // one window per group, commands typed one at a time
    packedScript,            // one process per window with the packed command line
    warpLaunchConfiguration, // one launch file holding every window
};

// The supported terminal applications, in the order they are offered and looked for. Everything
// known about each one is a row of terminalTable (TerminalTable.h): a new case is appended here
// and gets its row there, and the compiler checks that the two agree.
enum class TerminalApp {
    appleTerminal,
    iterm2,
    ghostty,
    warp,
    kitty,
    wezterm,
    alacritty,
    tabby,
    // The terminals of Linux desktops.
    gnomeTerminal,
    konsole,
    xfce4Terminal,
    mateTerminal,
    tilix,
    terminator,
    xterm,
    foot,
};

// Counted from the last case above; keep it naming the last one.
inline constexpr std::size_t terminalAppCount = static_cast<std::size_t>(TerminalApp::foot) + 1;

inline constexpr std::array<TerminalApp, terminalAppCount> allTerminalApps = [] {
    std::array<TerminalApp, terminalAppCount> apps{};
    for (std::size_t i = 0; i < apps.size(); ++i)
        apps[i] = static_cast<TerminalApp>(i);
    return apps;
}();

// The stored form of the case, as written in config.json ("iterm2", "appleTerminal", ...).
QString rawValue(TerminalApp app);
// The case whose raw value is exactly `text` (case-sensitive, untrimmed).
std::optional<TerminalApp> terminalAppFromRawValue(const QString &text);
QString displayName(TerminalApp app);
TerminalLaunchStyle launchStyle(TerminalApp app);
// True for every terminal whose window gets one combined command (all but Terminal and iTerm2).
bool combinesCommands(TerminalApp app);

} // namespace corvane

// Lets the enum travel in QVariant and data-driven tests.
Q_DECLARE_METATYPE(corvane::TerminalApp)
