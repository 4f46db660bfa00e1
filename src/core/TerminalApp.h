#pragma once

#include <QMetaType>
#include <QString>

#include <array>
#include <optional>

namespace corvane {

// How the runner opens a terminal's windows.
enum class TerminalLaunchStyle {
    appleScript,             // one window per group, commands typed one at a time
    packedScript,            // one process per window with the packed command line
    warpLaunchConfiguration, // one launch file holding every window
};

// The supported terminal applications, in the order they are offered and looked for.
enum class TerminalApp { appleTerminal, iterm2, ghostty, warp, kitty, wezterm, alacritty, tabby };

inline constexpr std::array<TerminalApp, 8> allTerminalApps{
    TerminalApp::appleTerminal, TerminalApp::iterm2,  TerminalApp::ghostty,   TerminalApp::warp,
    TerminalApp::kitty,         TerminalApp::wezterm, TerminalApp::alacritty, TerminalApp::tabby,
};

// The stored form of the case, as written in config.json ("iterm2", "appleTerminal", ...).
QString rawValue(TerminalApp app);
// The case whose raw value is exactly `text` (case-sensitive, untrimmed).
std::optional<TerminalApp> terminalAppFromRawValue(const QString &text);
QString displayName(TerminalApp app);
QString bundleIdentifier(TerminalApp app);
TerminalLaunchStyle launchStyle(TerminalApp app);
// True for every terminal whose window gets one combined command (all but Terminal and iTerm2).
bool combinesCommands(TerminalApp app);

} // namespace corvane

// Lets the enum travel in QVariant and data-driven tests.
Q_DECLARE_METATYPE(corvane::TerminalApp)
