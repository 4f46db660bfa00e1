#include "DryRun.h"

#include "CommandLine.h"
#include "ConfigStore.h"
#include "RunPreview.h"

namespace corvane {

DryRunOutput dryRun(Platform &platform)
{
    // The store loads config.json exactly as the application does.
    const ConfigStore store(platform.applicationSupportDirectory());
    if (!store.loadError().isEmpty())
        return {1, {}, CommandLine::unreadableText(store.filePath(), store.loadError())};
    const AppConfig &config = store.config();
    if (!hasCommands(config))
        return {1, {}, CommandLine::nothingToRunText()};
    const RunPreview preview = RunPreview::of(config, platform);
    if (!preview.problem.isEmpty())
        return {1, {}, preview.problem};
    return {0, preview.text(), {}};
}

} // namespace corvane
