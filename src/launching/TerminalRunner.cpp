#include "TerminalRunner.h"

#include "AppleScriptDriver.h"
#include "LaunchAlerts.h"
#include "PackedCommandBuilder.h"
#include "PackedWindowLauncher.h"
#include "Platform.h"
#include "RunSteps.h"
#include "Sleeper.h"
#include "WarpLauncher.h"

#include <variant>

namespace corvane {

namespace {

// How a strategy ended: it went through every group, a step failed, or a wait was cancelled.
struct Completed {};
struct Cancelled {};
using Ending = std::variant<Completed, ScriptError, Cancelled>;

QCoro::Task<Ending> runAppleScriptGroups(const AppConfig &config, Platform &platform,
                                         Sleeper &sleeper)
{
    AppleScriptDriver driver(platform);
    for (const TabGroup &group : config.groups) {
        const QList<CommandStep> steps = runsteps::nonBlankSteps(group);
        if (steps.isEmpty())
            continue;

        // Commands go out as stored, untrimmed; only blankness was judged on the trimmed text.
        auto opened = driver.openWindowAndRun(steps.first().command, config.terminalApp);
        if (auto *error = std::get_if<ScriptError>(&opened))
            co_return std::move(*error);
        const std::int64_t windowId = std::get<std::int64_t>(opened);
        if (!co_await sleeper.sleepFor(
                runsteps::waitAfter(steps.first().delayAfter, runsteps::firstCommandFloor)))
            co_return Cancelled{};

        for (qsizetype i = 1; i < steps.size(); ++i) {
            if (auto error = driver.run(steps.at(i).command, windowId, config.terminalApp))
                co_return std::move(*error);
            if (!co_await sleeper.sleepFor(
                    runsteps::waitAfter(steps.at(i).delayAfter, runsteps::laterCommandFloor)))
                co_return Cancelled{};
        }
    }
    co_return Completed{};
}

QCoro::Task<Ending> runPackedGroups(const AppConfig &config, Platform &platform, Sleeper &sleeper)
{
    PackedWindowLauncher launcher(platform);
    for (const TabGroup &group : config.groups) {
        const QString script = PackedCommandBuilder::effectiveCommand(group);
        if (script.isEmpty())
            continue;
        if (auto error = launcher.launchPackedWindow(script, config.terminalApp))
            co_return std::move(*error);
        if (!co_await sleeper.sleepFor(runsteps::packedWindowPause))
            co_return Cancelled{};
        if (auto error = launcher.failureRightAfterStart(config.terminalApp))
            co_return std::move(*error);
    }
    co_return Completed{};
}

Ending runWarpGroups(const AppConfig &config, Platform &platform)
{
    const QList<WarpWindow> windows = runsteps::warpWindows(config);
    if (windows.isEmpty())
        return Completed{};
    if (auto error = WarpLauncher(platform).launchWarp(windows))
        return std::move(*error);
    return Completed{};
}

} // namespace

TerminalRunner::TerminalRunner(Platform &platform, Sleeper &sleeper, QObject *parent)
    : QObject(parent), m_platform(platform), m_sleeper(sleeper)
{
}

QCoro::Task<> TerminalRunner::runAll(AppConfig config)
{
    // Tested and set with no suspension in between, so runs can never overlap.
    if (m_isRunning)
        co_return;
    setRunning(true);
    const auto activity = m_platform.holdRunActivity(); // the waits keep their length

    LaunchAlerts alerts(m_platform);
    const TerminalApp terminal = config.terminalApp;
    if (!m_platform.applicationLocation(bundleIdentifier(terminal))) {
        alerts.showNotInstalledAlert(terminal);
        setRunning(false);
        co_return;
    }

    Ending ending;
    switch (launchStyle(terminal)) {
    case TerminalLaunchStyle::appleScript:
        ending = co_await runAppleScriptGroups(config, m_platform, m_sleeper);
        break;
    case TerminalLaunchStyle::packedScript:
        ending = co_await runPackedGroups(config, m_platform, m_sleeper);
        break;
    case TerminalLaunchStyle::warpLaunchConfiguration:
        ending = runWarpGroups(config, m_platform);
        break;
    }

    // The alert is shown while the run still counts as under way.
    if (const auto *error = std::get_if<ScriptError>(&ending))
        alerts.showAlert(*error);
    setRunning(false);
}

void TerminalRunner::setRunning(bool running)
{
    m_isRunning = running;
    Q_EMIT isRunningChanged(running);
}

} // namespace corvane
