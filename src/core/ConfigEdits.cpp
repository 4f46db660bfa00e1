#include "ConfigEdits.h"

#include <algorithm>

namespace corvane::edits {

namespace {

template <typename T> void moveById(QList<T> &list, const QUuid &id, int offset)
{
    const auto it = std::find_if(list.begin(), list.end(), [&](const T &e) { return e.id == id; });
    if (it == list.end())
        return;
    const qsizetype from = it - list.begin();
    const qsizetype to = from + offset;
    if (to < 0 || to >= list.size())
        return;
    list.swapItemsAt(from, to);
}

template <typename T> void removeById(QList<T> &list, const QUuid &id)
{
    list.removeIf([&](const T &e) { return e.id == id; });
}

} // namespace

void moveGroup(QList<TabGroup> &groups, const QUuid &id, int offset)
{
    moveById(groups, id, offset);
}

void removeGroup(QList<TabGroup> &groups, const QUuid &id)
{
    removeById(groups, id);
}

void addGroup(QList<TabGroup> &groups)
{
    TabGroup group;
    group.name = QStringLiteral("Window %1").arg(groups.size() + 1);
    groups.append(group);
}

void moveStep(QList<CommandStep> &steps, const QUuid &id, int offset)
{
    moveById(steps, id, offset);
}

void removeStep(QList<CommandStep> &steps, const QUuid &id)
{
    removeById(steps, id);
}

void addStep(QList<CommandStep> &steps)
{
    steps.append(CommandStep{});
}

bool editGroup(AppConfig &config, const QUuid &id, const std::function<void(TabGroup &)> &edit)
{
    for (TabGroup &group : config.groups) {
        if (group.id == id) {
            edit(group);
            return true;
        }
    }
    return false;
}

} // namespace corvane::edits
