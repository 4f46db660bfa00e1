#pragma once

#include "TerminalApp.h"

#include <QStringView>

#include <array>
#include <string_view>

namespace corvane {

// How the process of a packed-script window is started.
enum class TerminalStarter {
    none,          // not a packed-script terminal
    open,          // `/usr/bin/open -na X.app --args ...` on macOS, the executable itself on Linux
    bundledBinary, // the executable inside the application bundle (on Linux: on PATH)
};

// Stands for the shell in argument vectors; the platform's window shell takes its place.
inline constexpr std::u16string_view windowShellPlaceholder = u"/bin/zsh";
// Stand for the command literal and the window id in AppleScript templates.
inline constexpr std::u16string_view scriptCommandSlot = u"{command}";
inline constexpr std::u16string_view scriptWindowSlot = u"{window}";

// Everything Corvane knows about one terminal application.
struct TerminalTraits {
    TerminalApp app;
    std::u16string_view rawValue;
    std::u16string_view displayName;
    std::u16string_view bundleIdentifier; // on Linux, the desktop id for terminals of Linux only
    TerminalLaunchStyle launchStyle;
    std::u16string_view linuxExecutable; // empty: no Linux build, never installed there

    // packedScript: the window's process. The arguments come before the window command, which
    // is appended last; they name the shell by windowShellPlaceholder.
    TerminalStarter starter = TerminalStarter::none;
    std::u16string_view bundleExecutable = {}; // bundledBinary: the name in Contents/MacOS
    std::array<std::u16string_view, 8> arguments = {};

    // appleScript: the script that opens a window running {command} and returns its id, and the
    // one that types {command} into window {window}.
    std::u16string_view openScript = {};
    std::u16string_view runScript = {};
};

// One row per TerminalApp case, in declaration order.
inline constexpr TerminalTraits terminalTable[] = {
    {TerminalApp::appleTerminal,
     u"appleTerminal",
     u"Terminal (macOS built-in)",
     u"com.apple.Terminal",
     TerminalLaunchStyle::appleScript,
     {},
     TerminalStarter::none,
     {},
     {},
     u"tell application \"Terminal\"\n    activate\n    do script {command}\n"
     u"    return id of front window\nend tell",
     u"tell application \"Terminal\"\n    do script {command} in tab 1 of window id {window}\n"
     u"end tell"},
    {TerminalApp::iterm2,
     u"iterm2",
     u"iTerm2",
     u"com.googlecode.iterm2",
     TerminalLaunchStyle::appleScript,
     {},
     TerminalStarter::none,
     {},
     {},
     u"tell application id \"com.googlecode.iterm2\"\n    activate\n"
     u"    set newWindow to (create window with default profile)\n"
     u"    tell current session of newWindow to write text {command}\n"
     u"    return id of newWindow\nend tell",
     u"tell application id \"com.googlecode.iterm2\"\n"
     u"    tell current session of window id {window} to write text {command}\nend tell"},
    {TerminalApp::ghostty,
     u"ghostty",
     u"Ghostty",
     u"com.mitchellh.ghostty",
     TerminalLaunchStyle::packedScript,
     u"ghostty",
     TerminalStarter::open,
     {},
     {u"-na", u"Ghostty.app", u"--args", u"-e", windowShellPlaceholder, u"-ilc"}},
    {TerminalApp::warp, u"warp", u"Warp", u"dev.warp.Warp-Stable",
     TerminalLaunchStyle::warpLaunchConfiguration, u"warp-terminal"},
    {TerminalApp::kitty,
     u"kitty",
     u"kitty",
     u"net.kovidgoyal.kitty",
     TerminalLaunchStyle::packedScript,
     u"kitty",
     TerminalStarter::bundledBinary,
     u"kitty",
     {u"--single-instance", windowShellPlaceholder, u"-ilc"}},
    {TerminalApp::wezterm,
     u"wezterm",
     u"WezTerm",
     u"com.github.wez.wezterm",
     TerminalLaunchStyle::packedScript,
     u"wezterm",
     TerminalStarter::bundledBinary,
     u"wezterm",
     {u"start", u"--always-new-process", u"--", windowShellPlaceholder, u"-ilc"}},
    {TerminalApp::alacritty,
     u"alacritty",
     u"Alacritty",
     u"org.alacritty",
     TerminalLaunchStyle::packedScript,
     u"alacritty",
     TerminalStarter::bundledBinary,
     u"alacritty",
     {u"-e", windowShellPlaceholder, u"-ilc"}},
    {TerminalApp::tabby,
     u"tabby",
     u"Tabby",
     u"org.tabby",
     TerminalLaunchStyle::packedScript,
     u"tabby",
     TerminalStarter::open,
     {},
     {u"-na", u"Tabby.app", u"--args", u"run", windowShellPlaceholder, u"-ilc"}},

    // Server-style terminals (GNOME Terminal, Xfce Terminal, MATE Terminal, Tilix) hand the
    // window to a running server and return at once; -x/-e/-- take the rest of the vector.
    {TerminalApp::gnomeTerminal,
     u"gnomeTerminal",
     u"GNOME Terminal",
     u"org.gnome.Terminal",
     TerminalLaunchStyle::packedScript,
     u"gnome-terminal",
     TerminalStarter::bundledBinary,
     u"gnome-terminal",
     {u"--window", u"--", windowShellPlaceholder, u"-ilc"}},
    {TerminalApp::konsole,
     u"konsole",
     u"Konsole",
     u"org.kde.konsole",
     TerminalLaunchStyle::packedScript,
     u"konsole",
     TerminalStarter::bundledBinary,
     u"konsole",
     {u"-e", windowShellPlaceholder, u"-ilc"}},
    {TerminalApp::xfce4Terminal,
     u"xfce4Terminal",
     u"Xfce Terminal",
     u"xfce4-terminal",
     TerminalLaunchStyle::packedScript,
     u"xfce4-terminal",
     TerminalStarter::bundledBinary,
     u"xfce4-terminal",
     // Not --window: a first start would open its default window as well, empty. A plain
     // request opens a window of its own, also through a running server.
     {u"-x", windowShellPlaceholder, u"-ilc"}},
    {TerminalApp::mateTerminal,
     u"mateTerminal",
     u"MATE Terminal",
     u"mate-terminal",
     TerminalLaunchStyle::packedScript,
     u"mate-terminal",
     TerminalStarter::bundledBinary,
     u"mate-terminal",
     {u"--window", u"-x", windowShellPlaceholder, u"-ilc"}},
    {TerminalApp::tilix,
     u"tilix",
     u"Tilix",
     u"com.gexperts.Tilix",
     TerminalLaunchStyle::packedScript,
     u"tilix",
     TerminalStarter::bundledBinary,
     u"tilix",
     {u"-a", u"app-new-window", u"-x", windowShellPlaceholder, u"-ilc"}},
    // Without -u a running Terminator takes the request and drops its options.
    {TerminalApp::terminator,
     u"terminator",
     u"Terminator",
     u"terminator",
     TerminalLaunchStyle::packedScript,
     u"terminator",
     TerminalStarter::bundledBinary,
     u"terminator",
     {u"-u", u"-x", windowShellPlaceholder, u"-ilc"}},
    {TerminalApp::xterm,
     u"xterm",
     u"XTerm",
     u"xterm",
     TerminalLaunchStyle::packedScript,
     u"xterm",
     TerminalStarter::bundledBinary,
     u"xterm",
     {u"-e", windowShellPlaceholder, u"-ilc"}},
    {TerminalApp::foot,
     u"foot",
     u"foot",
     u"org.codeberg.dnkl.foot",
     TerminalLaunchStyle::packedScript,
     u"foot",
     TerminalStarter::bundledBinary,
     u"foot",
     {windowShellPlaceholder, u"-ilc"}},
};

namespace detail {

constexpr bool holds(std::u16string_view text, std::u16string_view part)
{
    return text.find(part) != std::u16string_view::npos;
}

// The checks every row must pass; a failing one stops the build.
constexpr bool rowIsComplete(const TerminalTraits &row, std::size_t index)
{
    if (static_cast<std::size_t>(row.app) != index || row.rawValue.empty() ||
        row.displayName.empty() || row.bundleIdentifier.empty())
        return false;
    const bool packed = row.launchStyle == TerminalLaunchStyle::packedScript;
    if (packed != (row.starter != TerminalStarter::none))
        return false;
    if (row.launchStyle == TerminalLaunchStyle::appleScript) {
        return holds(row.openScript, scriptCommandSlot) &&
               holds(row.runScript, scriptCommandSlot) && holds(row.runScript, scriptWindowSlot) &&
               row.linuxExecutable.empty();
    }
    if (!row.openScript.empty() || !row.runScript.empty() || row.linuxExecutable.empty())
        return false;
    if (!packed)
        return true;
    if (row.starter == TerminalStarter::bundledBinary && row.bundleExecutable.empty())
        return false;
    // The vector ends "<shell> -ilc" so that the window command lands where the shell reads it.
    std::size_t count = 0;
    while (count < row.arguments.size() && !row.arguments[count].empty())
        ++count;
    for (std::size_t i = count; i < row.arguments.size(); ++i) {
        if (!row.arguments[i].empty())
            return false;
    }
    return count >= 2 && row.arguments[count - 2] == windowShellPlaceholder &&
           row.arguments[count - 1] == u"-ilc";
}

constexpr bool tableIsComplete()
{
    if (std::size(terminalTable) != terminalAppCount)
        return false;
    for (std::size_t i = 0; i < std::size(terminalTable); ++i) {
        if (!rowIsComplete(terminalTable[i], i))
            return false;
        for (std::size_t j = 0; j < i; ++j) {
            const TerminalTraits &a = terminalTable[i], &b = terminalTable[j];
            if (a.rawValue == b.rawValue || a.bundleIdentifier == b.bundleIdentifier ||
                (!a.linuxExecutable.empty() && a.linuxExecutable == b.linuxExecutable))
                return false;
        }
    }
    return true;
}

} // namespace detail

static_assert(detail::tableIsComplete(),
              "terminalTable needs exactly one complete row per TerminalApp case, in order, with "
              "unique raw values, bundle identifiers and executables");

constexpr const TerminalTraits &traits(TerminalApp app)
{
    return terminalTable[static_cast<std::size_t>(app)];
}

inline QStringView qview(std::u16string_view text)
{
    return QStringView(text.data(), qsizetype(text.size()));
}

// The terminal with this bundle identifier, or nothing.
std::optional<TerminalApp> terminalAppFromBundleIdentifier(QStringView bundleIdentifier);

} // namespace corvane
