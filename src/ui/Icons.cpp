#include "Icons.h"

// The icons live in a static library, whose resource initializer the linker would drop unless
// something refers to it.
static void initIconResources()
{
    Q_INIT_RESOURCE(icons);
}

namespace corvane {

QIcon Icons::get(const QString &themeName, const QString &bundledName)
{
    static const bool initialized = (initIconResources(), true);
    Q_UNUSED(initialized);
    const QString file =
        QStringLiteral(":/icons/%1.svg").arg(bundledName.isEmpty() ? themeName : bundledName);
    return QIcon::fromTheme(themeName, QIcon(file));
}

} // namespace corvane
