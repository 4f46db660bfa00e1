#include "AppConfig.h"

namespace corvane {

QList<TabGroup> defaultGroups()
{
    TabGroup group;
    group.name = QStringLiteral("Window 1");
    return {group};
}

} // namespace corvane
