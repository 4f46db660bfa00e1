#pragma once

#include "TerminalTable.h"

#include <iterator>
#include <string_view>

namespace corvane {

// How macOS knows a terminal: its bundle identifier, which Launch Services finds the application
// by, and how a window of it is opened: `/usr/bin/open -na <openName> --args ...` (terminals
// that open a window per instance), or the program in the bundle's Contents/MacOS. The
// terminals of Linux desktops have no bundle identifier: they never exist here.
struct MacTerminal {
    TerminalApp app;
    std::u16string_view bundleIdentifier;
    std::u16string_view openName = {};
    std::u16string_view bundledProgram = {};
};

// One row per TerminalApp case, in declaration order.
inline constexpr MacTerminal macTerminals[] = {
    {TerminalApp::appleTerminal, u"com.apple.Terminal"},
    {TerminalApp::iterm2, u"com.googlecode.iterm2"},
    {TerminalApp::ghostty, u"com.mitchellh.ghostty", u"Ghostty.app"},
    {TerminalApp::warp, u"dev.warp.Warp-Stable"},
    {TerminalApp::kitty, u"net.kovidgoyal.kitty", {}, u"kitty"},
    {TerminalApp::wezterm, u"com.github.wez.wezterm", {}, u"wezterm"},
    {TerminalApp::alacritty, u"org.alacritty", {}, u"alacritty"},
    {TerminalApp::tabby, u"org.tabby", u"Tabby.app"},
    {TerminalApp::gnomeTerminal, {}},
    {TerminalApp::konsole, {}},
    {TerminalApp::xfce4Terminal, {}},
    {TerminalApp::mateTerminal, {}},
    {TerminalApp::tilix, {}},
    {TerminalApp::terminator, {}},
    {TerminalApp::xterm, {}},
    {TerminalApp::foot, {}},
};

static_assert(
    [] {
        if (std::size(macTerminals) != terminalAppCount)
            return false;
        for (std::size_t i = 0; i < std::size(macTerminals); ++i) {
            const MacTerminal &row = macTerminals[i];
            if (static_cast<std::size_t>(row.app) != i)
                return false;
            // A terminal that opens its windows from a command line is started one way exactly.
            const bool packed = traits(row.app).launchStyle == TerminalLaunchStyle::packedScript;
            const int ways = int(!row.openName.empty()) + int(!row.bundledProgram.empty());
            if (ways != (packed && !row.bundleIdentifier.empty() ? 1 : 0))
                return false;
        }
        return true;
    }(),
    "macTerminals needs one row per TerminalApp case, in order, each terminal with windows of its "
    "own started one way");

constexpr const MacTerminal &macTerminal(TerminalApp app)
{
    return macTerminals[static_cast<std::size_t>(app)];
}

} // namespace corvane
