#include "AppConfig.h"

#include "Whitespace.h"

namespace corvane {

QList<TabGroup> defaultGroups()
{
    TabGroup group;
    group.name = QStringLiteral("Window 1");
    return {group};
}

bool hasCommands(const AppConfig &config)
{
    for (const TabGroup &group : config.groups) {
        for (const CommandStep &step : group.commands) {
            if (!isBlank(step.command))
                return true;
        }
    }
    return false;
}

} // namespace corvane
