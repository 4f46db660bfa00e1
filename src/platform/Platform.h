#pragma once

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

    // Where the application with this bundle identifier is installed, or nothing.
    virtual std::optional<QString> applicationLocation(const QString &bundleIdentifier) const = 0;

    // The program that runs `executableName` inside the application with this bundle
    // identifier, or nothing when that application is not installed.
    virtual std::optional<QString> bundledExecutable(const QString &bundleIdentifier,
                                                     const QString &executableName) const = 0;

    // The process that does what `/usr/bin/open <openArguments>` does for the application with
    // this bundle identifier. `openArguments` has the form `-na X.app --args ...`.
    virtual ProcessCommand openCommand(const QString &bundleIdentifier,
                                       const QStringList &openArguments) const = 0;

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

    // Whether Terminal and iTerm2, the terminals typed into command by command, can exist here
    // (macOS). Where they cannot, the editor keeps every group's steps editable.
    virtual bool canTypeIntoTerminals() const = 0;

    // Bundle identifiers of the terminals this desktop prefers, most preferred first (on Linux,
    // $TERMINAL, the desktop's lists and settings, x-terminal-emulator, the desktop's own
    // terminal). They may not be installed.
    virtual QStringList preferredTerminals() const = 0;

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
