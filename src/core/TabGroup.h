#pragma once

#include "CommandStep.h"

#include <QJsonValue>
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
    // The window opens at once, but its first command waits for this (WaitCondition.h).
    // Undefined when not set; kept exactly as read.
    QJsonValue startWhen{QJsonValue::Undefined};
    // The folder its shell starts in (`~` and `~/…` mean the home folder); absent: the home folder.
    std::optional<QString> directory;
    // A failing command stops the window's remaining commands.
    bool stopOnError = false;

    friend bool operator==(const TabGroup &, const TabGroup &) = default;
};

} // namespace corvane
