#pragma once

#include "TerminalApp.h"

#include <QStringView>

#include <array>
#include <string_view>

namespace corvane {

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
    TerminalLaunchStyle launchStyle;

    // packedScript: what the terminal's program is given to open a window running the window
    // command, which is appended last; the shell is named by windowShellPlaceholder. Where the
    // program is and how it is started is the platform's business.
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
     .launchStyle = TerminalLaunchStyle::appleScript,
     .openScript = u"tell application \"Terminal\"\n    activate\n    do script {command}\n"
                   u"    return id of front window\nend tell",
     .runScript = u"tell application \"Terminal\"\n"
                  u"    do script {command} in tab 1 of window id {window}\nend tell"},
    {.app = TerminalApp::iterm2,
     .rawValue = u"iterm2",
     .displayName = u"iTerm2",
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
     .launchStyle = TerminalLaunchStyle::packedScript,
     .arguments = {u"-e", windowShellPlaceholder, u"-ilc"}},
    {.app = TerminalApp::warp,
     .rawValue = u"warp",
     .displayName = u"Warp",
     .launchStyle = TerminalLaunchStyle::warpLaunchConfiguration},
    {.app = TerminalApp::kitty,
     .rawValue = u"kitty",
     .displayName = u"kitty",
     .launchStyle = TerminalLaunchStyle::packedScript,
     .arguments = {u"--single-instance", windowShellPlaceholder, u"-ilc"},
     .titleArguments = {u"-T", titleSlot}},
    {.app = TerminalApp::wezterm,
     .rawValue = u"wezterm",
     .displayName = u"WezTerm",
     .launchStyle = TerminalLaunchStyle::packedScript,
     .arguments = {u"start", u"--always-new-process", u"--", windowShellPlaceholder, u"-ilc"}},
    {.app = TerminalApp::alacritty,
     .rawValue = u"alacritty",
     .displayName = u"Alacritty",
     .launchStyle = TerminalLaunchStyle::packedScript,
     .arguments = {u"-e", windowShellPlaceholder, u"-ilc"},
     .titleArguments = {u"-T", titleSlot}},
    {.app = TerminalApp::tabby,
     .rawValue = u"tabby",
     .displayName = u"Tabby",
     .launchStyle = TerminalLaunchStyle::packedScript,
     .arguments = {u"run", windowShellPlaceholder, u"-ilc"}},

    // The terminals of Linux desktops. Server-style ones (GNOME Terminal, Xfce Terminal, MATE
    // Terminal, Tilix) hand the window to a running server and return at once; -x/-e/-- take the
    // rest of the vector.
    {.app = TerminalApp::gnomeTerminal,
     .rawValue = u"gnomeTerminal",
     .displayName = u"GNOME Terminal",
     .launchStyle = TerminalLaunchStyle::packedScript,
     .arguments = {u"--window", u"--", windowShellPlaceholder, u"-ilc"},
     .titleArguments = {u"--title", titleSlot}},
    {.app = TerminalApp::konsole,
     .rawValue = u"konsole",
     .displayName = u"Konsole",
     .launchStyle = TerminalLaunchStyle::packedScript,
     .arguments = {u"-e", windowShellPlaceholder, u"-ilc"},
     .titleArguments = {u"-p", u"tabtitle={title}"}},
    {.app = TerminalApp::xfce4Terminal,
     .rawValue = u"xfce4Terminal",
     .displayName = u"Xfce Terminal",
     .launchStyle = TerminalLaunchStyle::packedScript,
     // Not --window: a first start would open its default window as well, empty. A plain
     // request opens a window of its own, also through a running server.
     .arguments = {u"-x", windowShellPlaceholder, u"-ilc"},
     .titleArguments = {u"-T", titleSlot}},
    {.app = TerminalApp::mateTerminal,
     .rawValue = u"mateTerminal",
     .displayName = u"MATE Terminal",
     .launchStyle = TerminalLaunchStyle::packedScript,
     .arguments = {u"--window", u"-x", windowShellPlaceholder, u"-ilc"},
     .titleArguments = {u"-t", titleSlot}},
    {.app = TerminalApp::tilix,
     .rawValue = u"tilix",
     .displayName = u"Tilix",
     .launchStyle = TerminalLaunchStyle::packedScript,
     .arguments = {u"-a", u"app-new-window", u"-x", windowShellPlaceholder, u"-ilc"},
     .titleArguments = {u"-t", titleSlot}},
    {.app = TerminalApp::terminator,
     .rawValue = u"terminator",
     .displayName = u"Terminator",
     .launchStyle = TerminalLaunchStyle::packedScript,
     // Without -u a running Terminator takes the request and drops its options.
     .arguments = {u"-u", u"-x", windowShellPlaceholder, u"-ilc"},
     .titleArguments = {u"-T", titleSlot}},
    {.app = TerminalApp::xterm,
     .rawValue = u"xterm",
     .displayName = u"XTerm",
     .launchStyle = TerminalLaunchStyle::packedScript,
     .arguments = {u"-e", windowShellPlaceholder, u"-ilc"},
     .titleArguments = {u"-T", titleSlot}},
    {.app = TerminalApp::foot,
     .rawValue = u"foot",
     .displayName = u"foot",
     .launchStyle = TerminalLaunchStyle::packedScript,
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
        row.displayName.empty())
        return false;
    const bool packed = row.launchStyle == TerminalLaunchStyle::packedScript;
    if (packed == row.arguments[0].empty())
        return false;
    if (row.launchStyle == TerminalLaunchStyle::appleScript) {
        return holds(row.openScript, scriptCommandSlot) &&
               holds(row.runScript, scriptCommandSlot) && holds(row.runScript, scriptWindowSlot);
    }
    if (!row.openScript.empty() || !row.runScript.empty())
        return false;
    if (!packed)
        return true;
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
            if (a.rawValue == b.rawValue)
                return false;
        }
    }
    return true;
}

} // namespace detail

static_assert(detail::tableIsComplete(),
              "terminalTable needs exactly one complete row per TerminalApp case, in order, with "
              "unique raw values");

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

} // namespace corvane
