#pragma once

#include "AppConfig.h"

#include <QRandomGenerator>

namespace corvane::testing {

// Text drawn from characters that stress the JSON writer: quotes, slashes, control
// characters, line separators, non-ASCII and astral code points; empty now and then.
QString randomText(QRandomGenerator &rng);
// Finite doubles of every shape: whole, fractional, tiny, huge, subnormal, negative, -0.
double randomDelay(QRandomGenerator &rng);
// A configuration with up to `maxGroups` groups (possibly none) of random content.
AppConfig randomConfig(QRandomGenerator &rng, int maxGroups);
// `groupCount` groups of `stepCount` realistic steps each, for size-dependent measurements.
AppConfig sizedConfig(int groupCount, int stepCount);

} // namespace corvane::testing
