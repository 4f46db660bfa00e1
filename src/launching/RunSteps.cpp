#include "RunSteps.h"

#include "PackedCommandBuilder.h"
#include "Whitespace.h"

#include <algorithm>
#include <cmath>

namespace corvane::runsteps {

namespace {

// Far beyond any real delay, yet well inside what a nanosecond count can hold.
constexpr double longestWaitSeconds = 1e9;

} // namespace

std::chrono::nanoseconds waitAfter(double delay, double floor)
{
    const double seconds =
        std::isfinite(delay) ? std::clamp(delay, floor, longestWaitSeconds) : floor;
    // Rounded up so that a wait is never shorter than asked.
    return std::chrono::ceil<std::chrono::nanoseconds>(std::chrono::duration<double>(seconds));
}

QList<CommandStep> nonBlankSteps(const TabGroup &group)
{
    QList<CommandStep> steps;
    for (const CommandStep &step : group.commands) {
        if (!isBlank(step.command))
            steps.append(step);
    }
    return steps;
}

QList<WarpWindow> warpWindows(const AppConfig &config)
{
    QList<WarpWindow> windows;
    for (const TabGroup &group : config.groups) {
        QString script = PackedCommandBuilder::effectiveCommand(group);
        if (!script.isEmpty())
            windows.append({group.name, std::move(script)});
    }
    return windows;
}

} // namespace corvane::runsteps
