#pragma once

#include "AppConfig.h"

#include <optional>

namespace corvane::testing {

// Short forms for building configurations in tests.
inline CommandStep step(const QString &command, double delay = 0)
{
    return CommandStep{QUuid::createUuid(), command, delay};
}

inline TabGroup group(const QString &name, const QList<CommandStep> &steps,
                      std::optional<QString> packedOverride = std::nullopt)
{
    return TabGroup{QUuid::createUuid(), name, steps, std::move(packedOverride)};
}

} // namespace corvane::testing
