#pragma once

#include <QString>
#include <QStringList>

namespace corvane {

// What the user asked for on Corvane's command line.
struct CommandLine {
    enum class Action {
        tray,   // no command: start in the tray, or open the running Corvane's editor
        run,    // run the startup commands
        dryRun, // print what a run would do
        edit,   // open the editor
        help,
        version,
        usageError, // `error` says what is wrong
    };

    Action action = Action::tray;
    QString error;
    // run: wait for the outcome (false with --no-wait).
    bool wait = true;

    // Reads `arguments`, the program's name first.
    static CommandLine parse(const QStringList &arguments);
    static QString helpText();
    // One line naming the commands, for the end of an error.
    static QString usageLine();

    // Why `run` did nothing, one line each.
    static QString nothingToRunText();
    static QString alreadyRunningText();
    // config.json could not be read, and why.
    static QString unreadableText(const QString &path, const QString &reason);
};

} // namespace corvane
