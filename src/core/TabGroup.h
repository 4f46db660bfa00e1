#pragma once

#include "CommandStep.h"

#include <QList>
#include <QString>
#include <QUuid>

#include <optional>

namespace corvane {

// One terminal window: its name, its ordered commands and an optional hand-edited packed command.
struct TabGroup {
    QUuid id = QUuid::createUuid();
    QString name = QStringLiteral("Session");
    QList<CommandStep> commands{CommandStep{}};
    // Absent means "build the packed command automatically"; an empty text is still present.
    std::optional<QString> packedOverride;

    friend bool operator==(const TabGroup &, const TabGroup &) = default;
};

} // namespace corvane
