#include "ConfigHome.h"

#include <QDir>
#include <QFileInfo>

namespace corvane {

QString configHome()
{
    const QString configured = qEnvironmentVariable("XDG_CONFIG_HOME");
    if (!configured.isEmpty() && QFileInfo(configured).isAbsolute())
        return QDir::cleanPath(configured);
    return QDir::homePath() + QStringLiteral("/.config");
}

} // namespace corvane
