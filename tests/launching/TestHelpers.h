#pragma once

#include "AppConfig.h"

namespace corvane::testing {

inline CommandStep step(const QString &command, double delay = 0)
{
    return {QUuid::createUuid(), command, delay};
}

inline TabGroup group(const QString &name, const QList<CommandStep> &steps,
                      std::optional<QString> packedOverride = std::nullopt)
{
    return {QUuid::createUuid(), name, steps, std::move(packedOverride)};
}

} // namespace corvane::testing
