#pragma once

#include "TerminalApp.h"

#include <iterator>
#include <string_view>

namespace corvane {

// How Linux knows a terminal: the program found on PATH, and the desktop-file id that desktops
// name it by in their settings. Terminal and iTerm2 have neither: they never exist here.
struct LinuxTerminal {
    TerminalApp app;
    std::u16string_view program;
    std::u16string_view desktopId;
};

// One row per TerminalApp case, in declaration order.
inline constexpr LinuxTerminal linuxTerminals[] = {
    {TerminalApp::appleTerminal, {}, {}},
    {TerminalApp::iterm2, {}, {}},
    {TerminalApp::ghostty, u"ghostty", u"com.mitchellh.ghostty"},
    {TerminalApp::warp, u"warp-terminal", u"dev.warp.Warp-Stable"},
    {TerminalApp::kitty, u"kitty", u"net.kovidgoyal.kitty"},
    {TerminalApp::wezterm, u"wezterm", u"com.github.wez.wezterm"},
    {TerminalApp::alacritty, u"alacritty", u"org.alacritty"},
    {TerminalApp::tabby, u"tabby", u"org.tabby"},
    {TerminalApp::gnomeTerminal, u"gnome-terminal", u"org.gnome.Terminal"},
    {TerminalApp::konsole, u"konsole", u"org.kde.konsole"},
    {TerminalApp::xfce4Terminal, u"xfce4-terminal", u"xfce4-terminal"},
    {TerminalApp::mateTerminal, u"mate-terminal", u"mate-terminal"},
    {TerminalApp::tilix, u"tilix", u"com.gexperts.Tilix"},
    {TerminalApp::terminator, u"terminator", u"terminator"},
    {TerminalApp::xterm, u"xterm", u"xterm"},
    {TerminalApp::foot, u"foot", u"org.codeberg.dnkl.foot"},
};

static_assert(
    [] {
        if (std::size(linuxTerminals) != terminalAppCount)
            return false;
        for (std::size_t i = 0; i < std::size(linuxTerminals); ++i) {
            if (static_cast<std::size_t>(linuxTerminals[i].app) != i)
                return false;
            for (std::size_t j = 0; j < i; ++j) {
                if (!linuxTerminals[i].program.empty() &&
                    linuxTerminals[i].program == linuxTerminals[j].program)
                    return false;
            }
        }
        return true;
    }(),
    "linuxTerminals needs one row per TerminalApp case, in order, with unique programs");

constexpr const LinuxTerminal &linuxTerminal(TerminalApp app)
{
    return linuxTerminals[static_cast<std::size_t>(app)];
}

} // namespace corvane
