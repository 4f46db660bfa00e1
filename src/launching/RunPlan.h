#pragma once

#include "AppConfig.h"
#include "Platform.h"
#include "TerminalTable.h"
#include "TmuxTyper.h"

#include <QList>
#include <QString>

#include <chrono>
#include <optional>

namespace corvane {

// Floors of the wait after a command typed into Terminal or iTerm2.
inline constexpr double firstCommandFloor = 0.5;
inline constexpr double laterCommandFloor = 0.3;
// Gives each packed-script terminal time to put up its window before the next one is asked for.
inline constexpr std::chrono::milliseconds packedWindowPause{800};

// The wait after a typed command: the user's delay raised to `floor`. Delays that are not numbers
// count as the floor, absurdly long ones are cut short. Never shorter than asked.
std::chrono::nanoseconds waitAfter(double delay, double floor);

// One command typed into a Terminal or iTerm2 window, and the wait after it.
struct TypedCommand {
    QString command;
    std::chrono::nanoseconds waitAfter{};
    friend bool operator==(const TypedCommand &, const TypedCommand &) = default;
};

// One window of a run, everything about it decided.
struct PlannedWindow {
    QString name;   // its title
    QString folder; // where its shell starts: the window's folder, else the home folder
    // Packed-script terminals: the process that opens the window running its line. Warp: the
    // window's packed command in `command`.
    ProcessCommand process;
    QString command;
    // Terminal and iTerm2: the commands typed one by one, waits included.
    QList<TypedCommand> typed;
    // Warp only: the folder the user set (Warp starts elsewhere in its own default, the home).
    std::optional<QString> chosenFolder;
    // Typed through tmux (packed-script terminals with that choice): the session `process`
    // attaches to, and what is typed into it.
    std::optional<QString> tmuxSession;
    TmuxWindow tmuxWindow;
};

// What a run of a configuration does, worked out once, with nothing started: the runner carries
// it out, and the editor's preview and `corvane run --dry-run` print it.
struct RunPlan {
    // The plan for `config` with the terminals installed now, its tmux sessions named as if
    // Corvane's tmux server had none.
    static RunPlan of(const AppConfig &config, Platform &platform);
    // Whether `config` types its commands through tmux into windows of the terminal `row`: the
    // choice is made and the terminal's windows are opened with a command line (packed-script
    // terminals).
    static bool typesThroughTmux(const AppConfig &config, const TerminalTraits &row);

    // Names the tmux sessions anew, none of them one of `taken` (those on the server now).
    void nameSessions(QStringList taken);

    const TerminalTraits *row = nullptr; // the chosen terminal, looked up here only
    bool installed = false;
    QList<PlannedWindow> windows; // those with something to run, in order
    // Typing through tmux: tmux's path, or nothing when it is not installed.
    std::optional<QString> tmux;
    bool tmuxMissing = false;
};

} // namespace corvane
