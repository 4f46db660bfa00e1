#pragma once

#include "AppConfig.h"

namespace corvane::testing {

// `groupCount` groups of `stepCount` realistic steps each, for size-dependent measurements.
inline AppConfig sizedConfig(int groupCount, int stepCount)
{
    AppConfig config{TerminalApp::kitty, {}};
    for (int g = 0; g < groupCount; ++g) {
        TabGroup group{QUuid::createUuid(), QStringLiteral("Window %1").arg(g + 1), {}, {}};
        for (int s = 0; s < stepCount; ++s) {
            group.commands.append(
                {QUuid::createUuid(),
                 QStringLiteral("cd ~/src/project-%1 && npm run \"dev:%2\"").arg(g).arg(s),
                 s % 2 == 0 ? 0.0 : 1.5});
        }
        config.groups.append(group);
    }
    return config;
}

} // namespace corvane::testing
