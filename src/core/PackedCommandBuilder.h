#pragma once

#include "CommandStep.h"
#include "TabGroup.h"
#include "WaitCondition.h"

#include <QList>
#include <QString>

namespace corvane {

// Turns a window's steps into the single shell line handed to terminals that cannot be typed into.
// The line must mean the same to bash, zsh, dash and fish, and on the far side of `ssh` to /bin/sh:
// waits are POSIX `sh -c` snippets holding neither backslashes nor apostrophes of their own.
class PackedCommandBuilder final {
public:
    PackedCommandBuilder() = delete;

    // The window's packed command: its start condition, its non-blank steps with their delays and
    // waits, joined by `; ` (or ` && ` when a failure stops the window), in the remote form after
    // an `ssh` first command. A wait that gives up hands the window to `exec <shell> -il`, skipping
    // the rest.
    static QString packed(const TabGroup &group, const QString &shell);
    // The same for bare steps, with `$SHELL` standing for the login shell.
    static QString packed(const QList<CommandStep> &commands);
    // The group's trimmed custom command when it has a non-blank one, else packed(group, shell).
    static QString effectiveCommand(const TabGroup &group, const QString &shell);

    // The line a packed window's `<shell> -ilc` runs: Ctrl-C stops the command that runs but never
    // the line (`exec` restores it for the interactive shell), and the window ends at a prompt.
    // `notices` are printed first, one line each.
    static QString windowLine(const QString &command, const QString &shell,
                              const QStringList &notices = {});

    // The command that waits for `condition`: polls at most every 0.1 s (0.25 s after 10 s), and
    // after its timeout prints "Corvane: gave up waiting for … after N s" and fails.
    static QString waitCommand(const WaitCondition &condition);
    // A `waitFor`/`startWhen` value as a command: the wait, an `echo` that says why an unusable
    // one is ignored, or nothing when it is not set.
    static QString waitCommand(const QJsonValue &value);
    // `text` as a command that prints it as one line.
    static QString echoCommand(const QString &text);
    // `word` as one word for a POSIX shell (and fish): as it is when it holds nothing a shell
    // would interpret, else in single quotes.
    static QString shellQuoted(const QString &word);
};

} // namespace corvane
