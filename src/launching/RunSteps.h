#pragma once

#include "AppConfig.h"
#include "WarpLauncher.h"

#include <QList>

#include <chrono>

namespace corvane::runsteps {

// What a run takes from a configuration and how long it waits, shared by the runner and the run
// preview so that a preview cannot tell a different story from the run.

// Floors of the wait after a command typed into Terminal or iTerm2.
inline constexpr double firstCommandFloor = 0.5;
inline constexpr double laterCommandFloor = 0.3;
// Gives each packed-script terminal time to put up its window before the next one is asked for.
inline constexpr std::chrono::milliseconds packedWindowPause{800};

// The wait after a command: the user's delay raised to `floor`. Delays that are not numbers count
// as the floor, absurdly long ones are cut short. Never shorter than asked.
std::chrono::nanoseconds waitAfter(double delay, double floor);

// The group's steps whose command is not blank, kept whole: commands go out untrimmed.
QList<CommandStep> nonBlankSteps(const TabGroup &group);

// One Warp window per group that has something to run.
QList<WarpWindow> warpWindows(const AppConfig &config);

} // namespace corvane::runsteps
