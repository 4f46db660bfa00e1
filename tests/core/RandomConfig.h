#pragma once

#include "AppConfig.h"

#include <QRandomGenerator>

namespace corvane::testing {

// Up to `maxGroups` groups (possibly none) whose texts and delays stress the JSON writer.
AppConfig randomConfig(QRandomGenerator &rng, int maxGroups);
// `groupCount` groups of `stepCount` realistic steps each, for size-dependent measurements.
AppConfig sizedConfig(int groupCount, int stepCount);

} // namespace corvane::testing
