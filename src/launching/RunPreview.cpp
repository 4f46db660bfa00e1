#include "RunPreview.h"

#include "AppleScriptDriver.h"
#include "LaunchAlerts.h"
#include "PackedCommandBuilder.h"
#include "PackedWindowLauncher.h"
#include "RunSteps.h"
#include "TerminalTable.h"
#include "WarpLauncher.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

QString seconds(std::chrono::nanoseconds wait)
{
    return QString::number(std::chrono::duration<double>(wait).count(), 'g', 6) + u" s"_s;
}

void previewScripts(const AppConfig &config, RunPreview &preview)
{
    const QString window = qview(scriptWindowSlot).toString();
    for (const TabGroup &group : config.groups) {
        const QList<CommandStep> steps = runsteps::nonBlankSteps(group);
        if (steps.isEmpty())
            continue;
        RunPreview::ScriptedWindow &scripted = preview.scriptedWindows.emplace_back();
        scripted.name = group.name;
        scripted.scripts.append(
            {AppleScriptDriver::openScript(steps.first().command, config.terminalApp),
             runsteps::waitAfter(steps.first().delayAfter, runsteps::firstCommandFloor)});
        for (qsizetype i = 1; i < steps.size(); ++i) {
            scripted.scripts.append(
                {AppleScriptDriver::runScript(steps.at(i).command, window, config.terminalApp),
                 runsteps::waitAfter(steps.at(i).delayAfter, runsteps::laterCommandFloor)});
        }
    }
}

void previewProcesses(const AppConfig &config, Platform &platform, RunPreview &preview)
{
    const PackedWindowLauncher launcher(platform);
    for (const TabGroup &group : config.groups) {
        const QString script = PackedCommandBuilder::effectiveCommand(group);
        if (script.isEmpty())
            continue;
        auto process = launcher.windowProcess(script, config.terminalApp);
        if (const auto *error = std::get_if<ScriptError>(&process)) {
            preview.problem = error->message;
            preview.processes.clear();
            return;
        }
        preview.processes.append(std::get<ProcessCommand>(std::move(process)));
    }
}

void previewWarp(const AppConfig &config, Platform &platform, RunPreview &preview)
{
    const QList<WarpWindow> windows = runsteps::warpWindows(config);
    if (windows.isEmpty())
        return;
    const QString path = WarpLauncher::launchFilePath(platform.applicationSupportDirectory());
    preview.warp = RunPreview::WarpLaunch{path, WarpLauncher::launchFileText(windows),
                                          WarpLauncher::launchUrl(path)};
}

} // namespace

RunPreview RunPreview::of(const AppConfig &config, Platform &platform)
{
    RunPreview preview;
    const TerminalApp terminal = config.terminalApp;
    // The run's installed check comes first, before any group is looked at.
    if (!platform.applicationLocation(bundleIdentifier(terminal))) {
        const auto [message, informative] = LaunchAlerts::notInstalledText(terminal);
        preview.problem = message + u". "_s + informative;
        return preview;
    }
    switch (launchStyle(terminal)) {
    case TerminalLaunchStyle::appleScript:
        previewScripts(config, preview);
        break;
    case TerminalLaunchStyle::packedScript:
        previewProcesses(config, platform, preview);
        break;
    case TerminalLaunchStyle::warpLaunchConfiguration:
        previewWarp(config, platform, preview);
        break;
    }
    return preview;
}

QString RunPreview::text() const
{
    QString text;
    for (const ProcessCommand &process : processes) {
        text += shellQuoted(process.program);
        for (const QString &argument : process.arguments)
            text += u' ' + shellQuoted(argument);
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

QString RunPreview::shellQuoted(const QString &word)
{
    // No '=' (a first word with one is an assignment), no '~' (expanded at a word's start).
    const auto plain = [](QChar c) {
        return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || (c >= u'0' && c <= u'9') ||
               QStringView(u"_@%+:,./-").contains(c);
    };
    if (!word.isEmpty() && std::all_of(word.begin(), word.end(), plain))
        return word;
    QString quoted = word;
    // A single quote cannot stand inside single quotes: close them, add it escaped, reopen.
    quoted.replace(u'\'', u"'\\''"_s);
    return u'\'' + quoted + u'\'';
}

} // namespace corvane
