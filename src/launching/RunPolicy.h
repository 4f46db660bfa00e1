#pragma once

#include "AppConfig.h"

#include <optional>

namespace corvane {

class TerminalRunner;

// Why "Run Startup Commands" cannot start a run now.
enum class RunRefusal {
    alreadyRunning,
    nothingToRun, // no step of any group holds a non-blank command
};

// Why a run of `config` cannot start now, or nothing when it can: what enables the run entry and
// what `corvane run` answers.
std::optional<RunRefusal> runRefusal(const TerminalRunner &runner, const AppConfig &config);

// Starts a run of `config` and returns; the runner ignores it while a run is under way. Later
// edits do not reach the run.
void startRun(TerminalRunner &runner, AppConfig config);

} // namespace corvane
