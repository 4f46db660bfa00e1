#pragma once

#include "TerminalApp.h"

#include <QList>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <cstdint>
#include <memory>
#include <optional>
#include <variant>

namespace corvane {

// A program and its argument vector, started without any shell in between, in
// `workingDirectory` (empty: the caller's).
struct ProcessCommand {
    QString program;
    QStringList arguments;
    QString workingDirectory;

    friend bool operator==(const ProcessCommand &, const ProcessCommand &) = default;
};

// How a started process ended: its exit status, or the signal that ended it; and, when that was a
// failure, the last lines it wrote to its standard error.
struct ProcessEnd {
    enum class Kind { exited, signalled };
    Kind kind = Kind::exited;
    int code = 0;
    QString lastWords;
    friend bool operator==(const ProcessEnd &, const ProcessEnd &) = default;
};

// What running an AppleScript gave: its result read as a 32-bit integer (0 when the result is
// not a number), or the error number and message the system reported (either may be missing).
struct AppleScriptResult {
    std::int32_t value = 0;
};
struct AppleScriptFailure {
    std::optional<std::int64_t> number;
    std::optional<QString> message;
};
// std::monostate: the script could not even be turned into a script object.
using AppleScriptOutcome = std::variant<std::monostate, AppleScriptResult, AppleScriptFailure>;

// Whether Corvane starts when the user logs in, and whether it then runs the startup commands.
enum class LoginStart { off, start, startAndRun };

// Everything Corvane needs from the operating system. This is the only seam that knows whether
// it runs on Linux or macOS; everything above it is written against this interface.
class Platform {
public:
    virtual ~Platform() = default;

    // The per-user folder that holds application folders ("Application Support" on macOS,
    // the XDG config home on Linux). Never empty.
    virtual QString applicationSupportDirectory() const = 0;

    // Whether `terminal` is made for this system at all, installed or not: Terminal and iTerm2
    // only for macOS, the Linux desktops' terminals only for Linux.
    virtual bool supports(TerminalApp terminal) const = 0;

    // Where `terminal` is installed (its application bundle, its program), or nothing.
    virtual std::optional<QString> terminalLocation(TerminalApp terminal) const = 0;

    // The process that opens a new window of `terminal`, installed at `location`, whose program
    // is given `arguments` (the terminal's options, then the window's shell and command line).
    virtual ProcessCommand newWindowCommand(TerminalApp terminal, const QString &location,
                                            const QStringList &arguments) const = 0;

    // The terminals this system prefers, most preferred first (on Linux, $TERMINAL, the desktop's
    // lists and settings, x-terminal-emulator, the desktop's own terminal; on macOS, Terminal).
    // They may not be installed.
    virtual QList<TerminalApp> preferredTerminals() const = 0;

    // Starts a process and returns at once, without waiting for it; the child inherits
    // environment and standard input and output, and the working directory unless the command
    // names one, while its standard error is kept aside for endOfLastStarted(). Gives the
    // system's reason when the process cannot be started.
    virtual std::optional<QString> startProcess(const ProcessCommand &command) = 0;

    // How the process that startProcess started last has ended, or nothing while it runs.
    virtual std::optional<ProcessEnd> endOfLastStarted() = 0;

    // Hands a URL to the application registered for its scheme; whether one took it is not known.
    virtual void openUrl(const QUrl &url) = 0;

    // Compiles and runs one AppleScript source text, blocking until it is done.
    virtual AppleScriptOutcome executeAppleScript(const QString &source) = 0;

    // Where the command-line program `name` (tmux) is installed, or nothing.
    virtual std::optional<QString> programPath(const QString &name) const = 0;

    // The shell that runs a packed window's command (`<shell> -ilc <command>`).
    virtual QString windowShell() const = 0;

    // Shows a modal warning with one dismiss button, in front of other applications, and
    // returns when the user has dismissed it.
    virtual void showAlert(const QString &messageText, const QString &informativeText) = 0;

    // Whether the tray icon is a monochrome template that the system tints for a light or dark
    // menu bar (macOS) rather than a coloured theme icon.
    virtual bool trayIconIsTemplate() const = 0;

    // How Corvane starts at login, read from the system every time (an XDG autostart entry on
    // Linux, a launch agent on macOS), so that a change made elsewhere shows.
    virtual LoginStart loginStart() const = 0;
    // Makes Corvane start at login (startAndRun: with its `run` command), or not; gives the
    // system's reason when that fails.
    virtual std::optional<QString> setLoginStart(LoginStart start) = 0;
    // What the user still has to do before the login setting takes effect (macOS may want it
    // allowed in System Settings), in one line; empty when nothing.
    virtual QString loginStartNote() const { return {}; }

    // Keeps the system from slowing Corvane's timers down while the returned object lives (App
    // Nap on macOS, which would stretch the waits of a run); nothing to hold elsewhere.
    virtual std::shared_ptr<void> holdRunActivity() { return {}; }
};

} // namespace corvane
