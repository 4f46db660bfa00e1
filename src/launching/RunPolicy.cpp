#include "RunPolicy.h"

#include "TerminalRunner.h"

namespace corvane {

std::optional<RunRefusal> runRefusal(const TerminalRunner &runner, const AppConfig &config)
{
    // A run under way decides alone; the configuration is not even scanned then.
    if (runner.isRunning())
        return RunRefusal::alreadyRunning;
    if (!hasCommands(config))
        return RunRefusal::nothingToRun;
    return std::nullopt;
}

void startRun(TerminalRunner &runner, AppConfig config)
{
    // The task runs on without its handle: QCoro frees a finished coroutine whose Task is gone.
    auto run = runner.runAll(std::move(config));
    Q_UNUSED(run);
}

} // namespace corvane
