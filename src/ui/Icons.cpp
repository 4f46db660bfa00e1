#include "Icons.h"

// The icons live in a static library, whose resource initializer the linker would drop unless
// something refers to it.
static void initIconResources()
{
    Q_INIT_RESOURCE(icons);
}

namespace corvane {

namespace {

void ensureResources()
{
    static const bool initialized = (initIconResources(), true);
    Q_UNUSED(initialized);
}

} // namespace

QIcon Icons::get(const QString &themeName, const QString &bundledName)
{
    ensureResources();
    const QString file =
        QStringLiteral(":/icons/%1.svg").arg(bundledName.isEmpty() ? themeName : bundledName);
    return QIcon::fromTheme(themeName, QIcon(file));
}

QIcon Icons::menuBarTemplate()
{
    ensureResources();
    QIcon icon(QStringLiteral(":/icons/menubar-template.svg"));
    icon.setIsMask(true);
    return icon;
}

} // namespace corvane
