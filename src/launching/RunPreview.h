#pragma once

#include "AppConfig.h"
#include "Platform.h"
#include "RunPlan.h"

#include <QList>
#include <QString>
#include <QUrl>

#include <chrono>
#include <optional>

namespace corvane {

// What a run of a configuration would do, built by the launchers' own code with nothing started,
// typed or written, so that it can be shown instead (`corvane run --dry-run`).
class RunPreview final {
public:
    // One AppleScript handed to Terminal or iTerm2, and the wait after it.
    struct Script {
        QString source;
        std::chrono::nanoseconds waitAfter{};
    };
    // The scripts of one Terminal or iTerm2 window: the one that opens it, then one per command
    // typed into it. The window's id is not known before it opens, so they name it "{window}".
    struct ScriptedWindow {
        QString name;
        QList<Script> scripts;
    };
    // The Warp launch file that would be written and the URL that would open it.
    struct WarpLaunch {
        QString filePath;
        QString fileText;
        QUrl url;
    };

    // The run of `config` as it would go with the terminals installed now.
    static RunPreview of(const AppConfig &config, Platform &platform);
    // The same for a plan already made.
    static RunPreview of(const RunPlan &plan, Platform &platform);

    // What the run would show instead of opening windows (the terminal is not installed), in one
    // line; empty when it would go ahead.
    QString problem;
    QList<ProcessCommand> processes;       // packed-script terminals: one per window
    QStringList processPreambles;          // per process, what is printed before it (tmux sessions)
    QList<ScriptedWindow> scriptedWindows; // Terminal and iTerm2
    std::optional<WarpLaunch> warp;        // Warp: every window at once

    // The preview for a person or a shell: for packed-script terminals one line per window, `cd`
    // to its folder, then the program and its arguments quoted for POSIX shells so that the line
    // can be pasted into one;
    // for Warp the launch file's path (as a comment), its text and the URL; for Terminal and
    // iTerm2 each script, after a comment that says what it does and the wait that follows it.
    // An argument that holds a line break keeps it inside its quotes.
    QString text() const;

    // What the editor's card of each group shows as its window's command, following `config`'s
    // terminal and typing: the packed line the terminal runs or, typed through tmux, each command
    // typed in turn and the line the window runs to attach; empty when nothing would run. None
    // where the terminal is typed into without tmux (Terminal, iTerm2): the rows say it all.
    static QList<std::optional<QString>> cardTexts(const AppConfig &config,
                                                   const Platform &platform);
};

} // namespace corvane
