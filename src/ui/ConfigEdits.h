#pragma once

#include "AppConfig.h"
#include "TabGroup.h"
#include "TerminalApp.h"

#include <QList>
#include <QUuid>

#include <functional>

namespace corvane {

class Platform;

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

// The terminals found on this machine, in the order they are offered.
QList<TerminalApp> installedTerminals(const Platform &platform);
// The terminals to fall back on, in order, when the chosen one is not installed: those the system
// prefers (on macOS, Terminal), then every terminal.
QList<TerminalApp> fallbackCandidates(const Platform &platform);
// The terminal to switch to when `current` is not installed: the first installed candidate, or
// Terminal when there is none. Nothing when `current` is installed.
std::optional<TerminalApp> replacementTerminal(TerminalApp current,
                                               const QList<TerminalApp> &installed,
                                               const QList<TerminalApp> &candidates);

} // namespace edits
} // namespace corvane
