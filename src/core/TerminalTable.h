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
// Stands for the window's name in title options.
inline constexpr std::u16string_view titleSlot = u"{title}";

// Everything Corvane knows about one terminal application.
struct TerminalTraits {
    TerminalApp app;
    std::u16string_view rawValue;
    std::u16string_view displayName;
    std::u16string_view bundleIdentifier; // on Linux, the desktop id for terminals of Linux only
    TerminalLaunchStyle launchStyle;
    std::u16string_view linuxExecutable = {}; // empty: no Linux build, never installed there

    // packedScript: the window's process. The arguments come before the window command, which
    // is appended last; they name the shell by windowShellPlaceholder.
    TerminalStarter starter = TerminalStarter::none;
    std::u16string_view bundleExecutable = {}; // bundledBinary: the name in Contents/MacOS
    std::array<std::u16string_view, 8> arguments = {};
    // The options that make the window's name its title, with titleSlot for the name; they go
    // before the shell part of `arguments` (before its `-e`, `-x` or `--`). Empty: none.
    std::array<std::u16string_view, 2> titleArguments = {};

    // appleScript: the script that opens a window running {command} and returns its id, and the
    // one that types {command} into window {window}.
    std::u16string_view openScript = {};
    std::u16string_view runScript = {};
};

// One row per TerminalApp case, in declaration order.
inline constexpr TerminalTraits terminalTable[] = {
    {.app = TerminalApp::appleTerminal,
     .rawValue = u"appleTerminal",
     .displayName = u"Terminal (macOS built-in)",
     .bundleIdentifier = u"com.apple.Terminal",
     .launchStyle = TerminalLaunchStyle::appleScript,
     .openScript = u"tell application \"Terminal\"\n    activate\n    do script {command}\n"
                   u"    return id of front window\nend tell",
     .runScript = u"tell application \"Terminal\"\n"
                  u"    do script {command} in tab 1 of window id {window}\nend tell"},
    {.app = TerminalApp::iterm2,
     .rawValue = u"iterm2",
     .displayName = u"iTerm2",
     .bundleIdentifier = u"com.googlecode.iterm2",
     .launchStyle = TerminalLaunchStyle::appleScript,
     .openScript = u"tell application id \"com.googlecode.iterm2\"\n    activate\n"
                   u"    set newWindow to (create window with default profile)\n"
                   u"    tell current session of newWindow to write text {command}\n"
                   u"    return id of newWindow\nend tell",
     .runScript = u"tell application id \"com.googlecode.iterm2\"\n"
                  u"    tell current session of window id {window} to write text {command}\n"
                  u"end tell"},
    {.app = TerminalApp::ghostty,
     .rawValue = u"ghostty",
     .displayName = u"Ghostty",
     .bundleIdentifier = u"com.mitchellh.ghostty",
     .launchStyle = TerminalLaunchStyle::packedScript,
     .linuxExecutable = u"ghostty",
     .starter = TerminalStarter::open,
     .arguments = {u"-na", u"Ghostty.app", u"--args", u"-e", windowShellPlaceholder, u"-ilc"}},
    {.app = TerminalApp::warp,
     .rawValue = u"warp",
     .displayName = u"Warp",
     .bundleIdentifier = u"dev.warp.Warp-Stable",
     .launchStyle = TerminalLaunchStyle::warpLaunchConfiguration,
     .linuxExecutable = u"warp-terminal"},
    {.app = TerminalApp::kitty,
     .rawValue = u"kitty",
     .displayName = u"kitty",
     .bundleIdentifier = u"net.kovidgoyal.kitty",
     .launchStyle = TerminalLaunchStyle::packedScript,
     .linuxExecutable = u"kitty",
     .starter = TerminalStarter::bundledBinary,
     .bundleExecutable = u"kitty",
     .arguments = {u"--single-instance", windowShellPlaceholder, u"-ilc"},
     .titleArguments = {u"-T", titleSlot}},
    {.app = TerminalApp::wezterm,
     .rawValue = u"wezterm",
     .displayName = u"WezTerm",
     .bundleIdentifier = u"com.github.wez.wezterm",
     .launchStyle = TerminalLaunchStyle::packedScript,
     .linuxExecutable = u"wezterm",
     .starter = TerminalStarter::bundledBinary,
     .bundleExecutable = u"wezterm",
     .arguments = {u"start", u"--always-new-process", u"--", windowShellPlaceholder, u"-ilc"}},
    {.app = TerminalApp::alacritty,
     .rawValue = u"alacritty",
     .displayName = u"Alacritty",
     .bundleIdentifier = u"org.alacritty",
     .launchStyle = TerminalLaunchStyle::packedScript,
     .linuxExecutable = u"alacritty",
     .starter = TerminalStarter::bundledBinary,
     .bundleExecutable = u"alacritty",
     .arguments = {u"-e", windowShellPlaceholder, u"-ilc"},
     .titleArguments = {u"-T", titleSlot}},
    {.app = TerminalApp::tabby,
     .rawValue = u"tabby",
     .displayName = u"Tabby",
     .bundleIdentifier = u"org.tabby",
     .launchStyle = TerminalLaunchStyle::packedScript,
     .linuxExecutable = u"tabby",
     .starter = TerminalStarter::open,
     .arguments = {u"-na", u"Tabby.app", u"--args", u"run", windowShellPlaceholder, u"-ilc"}},

    // The terminals of Linux desktops. Server-style ones (GNOME Terminal, Xfce Terminal, MATE
    // Terminal, Tilix) hand the window to a running server and return at once; -x/-e/-- take the
    // rest of the vector.
    {.app = TerminalApp::gnomeTerminal,
     .rawValue = u"gnomeTerminal",
     .displayName = u"GNOME Terminal",
     .bundleIdentifier = u"org.gnome.Terminal",
     .launchStyle = TerminalLaunchStyle::packedScript,
     .linuxExecutable = u"gnome-terminal",
     .starter = TerminalStarter::bundledBinary,
     .bundleExecutable = u"gnome-terminal",
     .arguments = {u"--window", u"--", windowShellPlaceholder, u"-ilc"},
     .titleArguments = {u"--title", titleSlot}},
    {.app = TerminalApp::konsole,
     .rawValue = u"konsole",
     .displayName = u"Konsole",
     .bundleIdentifier = u"org.kde.konsole",
     .launchStyle = TerminalLaunchStyle::packedScript,
     .linuxExecutable = u"konsole",
     .starter = TerminalStarter::bundledBinary,
     .bundleExecutable = u"konsole",
     .arguments = {u"-e", windowShellPlaceholder, u"-ilc"},
     .titleArguments = {u"-p", u"tabtitle={title}"}},
    {.app = TerminalApp::xfce4Terminal,
     .rawValue = u"xfce4Terminal",
     .displayName = u"Xfce Terminal",
     .bundleIdentifier = u"xfce4-terminal",
     .launchStyle = TerminalLaunchStyle::packedScript,
     .linuxExecutable = u"xfce4-terminal",
     .starter = TerminalStarter::bundledBinary,
     .bundleExecutable = u"xfce4-terminal",
     // Not --window: a first start would open its default window as well, empty. A plain
     // request opens a window of its own, also through a running server.
     .arguments = {u"-x", windowShellPlaceholder, u"-ilc"},
     .titleArguments = {u"-T", titleSlot}},
    {.app = TerminalApp::mateTerminal,
     .rawValue = u"mateTerminal",
     .displayName = u"MATE Terminal",
     .bundleIdentifier = u"mate-terminal",
     .launchStyle = TerminalLaunchStyle::packedScript,
     .linuxExecutable = u"mate-terminal",
     .starter = TerminalStarter::bundledBinary,
     .bundleExecutable = u"mate-terminal",
     .arguments = {u"--window", u"-x", windowShellPlaceholder, u"-ilc"},
     .titleArguments = {u"-t", titleSlot}},
    {.app = TerminalApp::tilix,
     .rawValue = u"tilix",
     .displayName = u"Tilix",
     .bundleIdentifier = u"com.gexperts.Tilix",
     .launchStyle = TerminalLaunchStyle::packedScript,
     .linuxExecutable = u"tilix",
     .starter = TerminalStarter::bundledBinary,
     .bundleExecutable = u"tilix",
     .arguments = {u"-a", u"app-new-window", u"-x", windowShellPlaceholder, u"-ilc"},
     .titleArguments = {u"-t", titleSlot}},
    {.app = TerminalApp::terminator,
     .rawValue = u"terminator",
     .displayName = u"Terminator",
     .bundleIdentifier = u"terminator",
     .launchStyle = TerminalLaunchStyle::packedScript,
     .linuxExecutable = u"terminator",
     .starter = TerminalStarter::bundledBinary,
     .bundleExecutable = u"terminator",
     // Without -u a running Terminator takes the request and drops its options.
     .arguments = {u"-u", u"-x", windowShellPlaceholder, u"-ilc"},
     .titleArguments = {u"-T", titleSlot}},
    {.app = TerminalApp::xterm,
     .rawValue = u"xterm",
     .displayName = u"XTerm",
     .bundleIdentifier = u"xterm",
     .launchStyle = TerminalLaunchStyle::packedScript,
     .linuxExecutable = u"xterm",
     .starter = TerminalStarter::bundledBinary,
     .bundleExecutable = u"xterm",
     .arguments = {u"-e", windowShellPlaceholder, u"-ilc"},
     .titleArguments = {u"-T", titleSlot}},
    {.app = TerminalApp::foot,
     .rawValue = u"foot",
     .displayName = u"foot",
     .bundleIdentifier = u"org.codeberg.dnkl.foot",
     .launchStyle = TerminalLaunchStyle::packedScript,
     .linuxExecutable = u"foot",
     .starter = TerminalStarter::bundledBinary,
     .bundleExecutable = u"foot",
     .arguments = {windowShellPlaceholder, u"-ilc"},
     .titleArguments = {u"-T", titleSlot}},
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
    if (!row.titleArguments[0].empty() && !holds(row.titleArguments[1], titleSlot))
        return false;
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

// Where the shell part of a packed-script row's arguments begins: at the shell, or at the option
// just before it that hands the rest of the vector to the window.
constexpr std::size_t shellPartIndex(const TerminalTraits &row)
{
    std::size_t index = 0;
    while (index < row.arguments.size() && row.arguments[index] != windowShellPlaceholder)
        ++index;
    if (index > 0) {
        const std::u16string_view before = row.arguments[index - 1];
        if (before == u"-e" || before == u"-x" || before == u"--")
            return index - 1;
    }
    return index;
}

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
