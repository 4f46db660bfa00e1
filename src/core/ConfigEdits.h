#pragma once

#include "AppConfig.h"
#include "TabGroup.h"

#include <QList>
#include <QUuid>

#include <functional>

namespace corvane {

// Edits of the configuration as the editor and the menu make them. Elements are addressed by id,
// never by index, so a stale widget can at worst do nothing.
namespace edits {

// Swaps the group with its neighbour `offset` places away; nothing when either is missing.
void moveGroup(QList<TabGroup> &groups, const QUuid &id, int offset);
void removeGroup(QList<TabGroup> &groups, const QUuid &id);
// Appends "Window <count + 1>" with one empty step; the number may repeat an existing name.
void addGroup(QList<TabGroup> &groups);

void moveStep(QList<CommandStep> &steps, const QUuid &id, int offset);
void removeStep(QList<CommandStep> &steps, const QUuid &id);
void addStep(QList<CommandStep> &steps);

// Applies `edit` to the group with this id; false when there is none.
bool editGroup(AppConfig &config, const QUuid &id, const std::function<void(TabGroup &)> &edit);

} // namespace edits
} // namespace corvane
