#include "RunPreview.h"

#include "AppleScriptDriver.h"
#include "LaunchAlerts.h"
#include "PackedCommandBuilder.h"
#include "TerminalTable.h"
#include "TmuxSessions.h"
#include "WarpLauncher.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

QString seconds(std::chrono::nanoseconds wait)
{
    return QString::number(std::chrono::duration<double>(wait).count(), 'g', 6) + u" s"_s;
}

QString delayNote(const TmuxStep &step)
{
    return step.delayAfter > 0
               ? u"# then waits %1\n"_s.arg(seconds(std::chrono::ceil<std::chrono::nanoseconds>(
                     std::chrono::duration<double>(step.delayAfter))))
               : QString();
}

// A window typed into through tmux: the command that opens its session, then each command typed
// into it, for someone to read (the run types each once the previous one is done).
QString tmuxPreamble(const QString &tmux, const QString &session, const TmuxWindow &window,
                     const QString &shell)
{
    const TmuxClient client(tmux);
    const auto line = [&](const QStringList &arguments) {
        const ProcessCommand command = client.command(arguments);
        QString text = PackedCommandBuilder::shellQuoted(command.program);
        for (const QString &argument : command.arguments)
            text += u' ' + PackedCommandBuilder::shellQuoted(argument);
        return text + u'\n';
    };
    QString text = u"# “%1”: tmux session %2, its commands typed one at a time, each once the "
                   u"previous one is done\n"_s.arg(window.name, session);
    text += line(TmuxSessions::newSessionArguments(tmux, TmuxSessions::defaultHooksDirectory(),
                                                   shell, session, window));
    for (const TmuxStep &step : window.steps)
        text += line(TmuxSessions::typeArguments(session, step.text)) + delayNote(step);
    return text + u"# the window:\n"_s;
}

} // namespace

RunPreview RunPreview::of(const AppConfig &config, Platform &platform)
{
    return of(RunPlan::of(config, platform), platform);
}

RunPreview RunPreview::of(const RunPlan &plan, Platform &platform)
{
    RunPreview preview;
    const TerminalApp terminal = plan.row->app;
    if (!plan.installed) {
        const auto [message, informative] = LaunchAlerts::notInstalledText(terminal);
        preview.problem = message + u". "_s + informative;
        return preview;
    }
    if (plan.tmuxMissing && !plan.windows.isEmpty()) {
        const auto [message, informative] = TmuxSessions::missingText();
        preview.problem = message + u". "_s + informative;
        return preview;
    }
    const QString windowSlot = qview(scriptWindowSlot).toString();
    for (const PlannedWindow &window : plan.windows) {
        switch (plan.row->launchStyle) {
        case TerminalLaunchStyle::appleScript: {
            ScriptedWindow &scripted = preview.scriptedWindows.emplace_back();
            scripted.name = window.name;
            for (const TypedCommand &typed : window.typed) {
                scripted.scripts.append(
                    {scripted.scripts.isEmpty()
                         ? AppleScriptDriver::openScript(typed.command, *plan.row)
                         : AppleScriptDriver::runScript(typed.command, windowSlot, *plan.row),
                     typed.waitAfter});
            }
            break;
        }
        case TerminalLaunchStyle::packedScript:
            preview.processes.append(window.process);
            preview.processPreambles.append(
                window.tmuxSession ? tmuxPreamble(*plan.tmux, *window.tmuxSession,
                                                  window.tmuxWindow, platform.windowShell())
                                   : QString());
            break;
        case TerminalLaunchStyle::warpLaunchConfiguration:
            break;
        }
    }
    if (plan.row->launchStyle == TerminalLaunchStyle::warpLaunchConfiguration &&
        !plan.windows.isEmpty()) {
        const QString path = WarpLauncher::launchFilePath(platform.applicationSupportDirectory());
        preview.warp = WarpLaunch{path, WarpLauncher::launchFileText(WarpLauncher::windowsOf(plan)),
                                  WarpLauncher::launchUrl(path)};
    }
    return preview;
}

QString RunPreview::text() const
{
    QString text;
    for (qsizetype i = 0; i < processes.size(); ++i) {
        const ProcessCommand &process = processes.at(i);
        text += processPreambles.value(i);
        // Run from its folder, as the window's shell will be.
        if (!process.workingDirectory.isEmpty())
            text +=
                u"cd "_s + PackedCommandBuilder::shellQuoted(process.workingDirectory) + u" && "_s;
        text += PackedCommandBuilder::shellQuoted(process.program);
        for (const QString &argument : process.arguments)
            text += u' ' + PackedCommandBuilder::shellQuoted(argument);
        text += u'\n';
    }
    for (qsizetype w = 0; w < scriptedWindows.size(); ++w) {
        const ScriptedWindow &window = scriptedWindows.at(w);
        if (w > 0)
            text += u'\n';
        for (qsizetype i = 0; i < window.scripts.size(); ++i) {
            const Script &script = window.scripts.at(i);
            // AppleScript comments, so that the scripts can be copied with them.
            text += i == 0 ? u"-- Window %1 “%2”: opens it, then waits %3\n"_s.arg(w + 1).arg(
                                 window.name, seconds(script.waitAfter))
                           : u"-- Typed into that window ({window} is the id returned above), "
                             u"then waits %1\n"_s.arg(seconds(script.waitAfter));
            text += script.source + u'\n';
        }
    }
    if (warp)
        text += u"# "_s + warp->filePath + u'\n' + warp->fileText + warp->url.toString() + u'\n';
    return text;
}

QList<std::optional<QString>> RunPreview::cardTexts(const AppConfig &config,
                                                    const Platform &platform)
{
    QList<std::optional<QString>> texts(config.groups.size());
    const TerminalTraits &row = traits(config.terminalApp);
    if (row.launchStyle == TerminalLaunchStyle::appleScript)
        return texts;
    // One lookup per update, however many windows there are: this runs on every keystroke.
    if (!RunPlan::typesThroughTmux(config, row)) {
        const QString shell = platform.windowShell();
        for (qsizetype i = 0; i < texts.size(); ++i)
            texts[i] = PackedCommandBuilder::packed(config.groups.at(i), shell);
        return texts;
    }
    const TmuxClient tmux(platform.programPath(u"tmux"_s).value_or(u"tmux"_s));
    for (qsizetype i = 0; i < texts.size(); ++i) {
        const TabGroup &group = config.groups.at(i);
        const TmuxWindow window = TmuxSessions::windowOf(group, {});
        if (window.steps.isEmpty()) {
            texts[i] = QString();
            continue;
        }
        // The run may add a number to the name when a session of that name exists.
        const QString session = TmuxSessions::safeName(group.name);
        QString text =
            u"# Typed into tmux session %1, each once the one before is done:\n"_s.arg(session);
        for (const TmuxStep &step : window.steps)
            text += step.text + u'\n' + delayNote(step);
        texts[i] = text + u"# The window runs:\n"_s + TmuxSessions::attachLine(tmux, session);
    }
    return texts;
}

} // namespace corvane
