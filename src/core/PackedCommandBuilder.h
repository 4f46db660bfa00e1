#pragma once

#include "CommandStep.h"
#include "TabGroup.h"

#include <QList>
#include <QString>

namespace corvane {

// Turns a window's steps into the single shell line handed to terminals that cannot be typed into.
class PackedCommandBuilder final {
public:
    PackedCommandBuilder() = delete;

    // The packed command of these steps (plain form, or remote form after an `ssh` first command).
    static QString packed(const QList<CommandStep> &commands);
    // The group's trimmed custom command when it has a non-blank one, else packed(commands).
    static QString effectiveCommand(const TabGroup &group);
};

} // namespace corvane
