#include "RunPlan.h"

#include "AppleScriptDriver.h"
#include "PackedCommandBuilder.h"
#include "TmuxSessions.h"
#include "Whitespace.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>
#include <cmath>

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

// Far beyond any real delay, yet well inside what a nanosecond count can hold.
constexpr double longestWaitSeconds = 1e9;

// The window's folder with `~` expanded, or the home folder; a folder that does not exist gives
// the home folder and a notice for the window.
QString folderOf(const TabGroup &group, QStringList &notices)
{
    const QString home = QDir::homePath();
    if (!group.directory || isBlank(*group.directory))
        return home;
    const QString chosen = trimmedWhitespace(*group.directory);
    QString path = chosen;
    if (path == u"~")
        path = home;
    else if (path.startsWith(u"~/"))
        path = home + path.mid(1);
    else if (QDir::isRelativePath(path))
        path = home + u'/' + path;
    if (QFileInfo(path).isDir())
        return QDir::cleanPath(path);
    notices.append(u"Corvane: there is no folder "_s + chosen + u"; starting in the home folder"_s);
    return home;
}

QStringList packedArguments(const TerminalTraits &row, const QString &shell, const QString &title,
                            const QString &line)
{
    QStringList arguments;
    const std::size_t titleAt = shellPartIndex(row);
    for (std::size_t i = 0; i < row.arguments.size() && !row.arguments[i].empty(); ++i) {
        if (i == titleAt && !row.titleArguments[0].empty() && !isBlank(title)) {
            for (const std::u16string_view option : row.titleArguments)
                arguments.append(
                    qview(option).toString().replace(qview(titleSlot).toString(), title));
        }
        const std::u16string_view argument = row.arguments[i];
        arguments.append(argument == windowShellPlaceholder ? shell : qview(argument).toString());
    }
    arguments.append(line);
    return arguments;
}

// Terminal and iTerm2: the non-blank steps as stored (commands go out untrimmed), each wait typed
// as a command of its own after its step, the step's delay after the wait.
QList<TypedCommand> typedCommands(const TabGroup &group, const QString &folderPrefix)
{
    QList<std::pair<QString, double>> items;
    if (const QString start = PackedCommandBuilder::waitCommand(group.startWhen); !start.isEmpty())
        items.append({start, 0});
    for (const CommandStep &step : group.commands) {
        if (isBlank(step.command))
            continue;
        const QString wait = PackedCommandBuilder::waitCommand(step.waitFor);
        items.append({step.command, wait.isEmpty() ? step.delayAfter : 0});
        if (!wait.isEmpty())
            items.append({wait, step.delayAfter});
    }
    QList<TypedCommand> typed;
    for (const auto &[command, delay] : std::as_const(items)) {
        const bool first = typed.isEmpty();
        typed.append({first ? folderPrefix + command : command,
                      waitAfter(delay, first ? firstCommandFloor : laterCommandFloor)});
    }
    // Nothing to type but a wait: nothing to run.
    if (std::none_of(group.commands.begin(), group.commands.end(),
                     [](const CommandStep &step) { return !isBlank(step.command); }))
        typed.clear();
    return typed;
}

} // namespace

std::chrono::nanoseconds waitAfter(double delay, double floor)
{
    const double seconds =
        std::isfinite(delay) ? std::clamp(delay, floor, longestWaitSeconds) : floor;
    // Rounded up so that a wait is never shorter than asked.
    return std::chrono::ceil<std::chrono::nanoseconds>(std::chrono::duration<double>(seconds));
}

bool RunPlan::typesThroughTmux(const AppConfig &config, const TerminalTraits &row)
{
    return config.typing == "tmux"_L1 && row.launchStyle == TerminalLaunchStyle::packedScript;
}

RunPlan RunPlan::of(const AppConfig &config, Platform &platform)
{
    RunPlan plan;
    const TerminalTraits &row = traits(config.terminalApp);
    plan.row = &row;
    const std::optional<QString> location = platform.terminalLocation(row.app);
    plan.installed = location.has_value();
    if (!plan.installed)
        return plan;

    const QString shell = platform.windowShell();

    if (typesThroughTmux(config, row)) {
        plan.tmux = platform.programPath(u"tmux"_s);
        plan.tmuxMissing = !plan.tmux;
    }

    for (const TabGroup &group : config.groups) {
        PlannedWindow window;
        window.name = group.name;
        QStringList notices;
        window.folder = folderOf(group, notices);
        switch (row.launchStyle) {
        case TerminalLaunchStyle::appleScript: {
            // Terminal and iTerm2 open their windows in the home folder.
            const QString cd =
                window.folder == QDir::homePath()
                    ? QString()
                    : u"cd "_s + PackedCommandBuilder::shellQuoted(window.folder) + u"; "_s;
            window.typed = typedCommands(group, cd);
            if (window.typed.isEmpty())
                continue;
            for (const QString &notice : std::as_const(notices))
                window.typed.first().command.prepend(PackedCommandBuilder::echoCommand(notice) +
                                                     u"; "_s);
            break;
        }
        case TerminalLaunchStyle::packedScript: {
            QString line;
            if (plan.tmux) {
                // The window shows a tmux session that gets the commands typed into it; its
                // attach line is written once the session has a name.
                window.tmuxWindow = TmuxSessions::windowOf(group, window.folder, notices);
                if (window.tmuxWindow.steps.isEmpty())
                    continue;
            } else {
                const QString command = PackedCommandBuilder::effectiveCommand(group, shell);
                if (command.isEmpty())
                    continue;
                line = PackedCommandBuilder::windowLine(command, shell, notices);
            }
            const QStringList arguments = packedArguments(row, shell, group.name, line);
            window.process = platform.newWindowCommand(row.app, *location, arguments);
            window.process.workingDirectory = window.folder;
            break;
        }
        case TerminalLaunchStyle::warpLaunchConfiguration:
            window.command = PackedCommandBuilder::effectiveCommand(group, shell);
            if (window.command.isEmpty())
                continue;
            if (group.directory && !isBlank(*group.directory))
                window.chosenFolder = window.folder;
            break;
        }
        plan.windows.append(std::move(window));
    }
    plan.nameSessions({});
    return plan;
}

void RunPlan::nameSessions(QStringList taken)
{
    if (!tmux)
        return;
    const TmuxClient client(*tmux);
    for (PlannedWindow &window : windows) {
        window.tmuxSession = TmuxSessions::sessionNames({window.name}, taken).constFirst();
        taken.append(*window.tmuxSession);
        // The window line is the last argument of every terminal's command.
        window.process.arguments.last() = TmuxSessions::attachLine(client, *window.tmuxSession);
    }
}

} // namespace corvane
