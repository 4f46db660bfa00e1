#include "LaunchAlerts.h"

#include "AppInfo.h"
#include "Platform.h"

namespace corvane {

using namespace Qt::StringLiterals;

LaunchAlerts::LaunchAlerts(Platform &platform) : m_platform(platform)
{
}

void LaunchAlerts::showAlert(const ScriptError &error)
{
    if (error.number == automationDenied) {
        m_platform.showAlert(
            QStringLiteral("Corvane isn’t allowed to control your terminal app"),
            u"Grant permission in System Settings → Privacy & Security → Automation → Corvane, "
            u"and enable your terminal app there.\n\nIf Corvane isn’t listed there, run this in a "
            u"terminal and try again:\ntccutil reset AppleEvents "_s +
                appBundleIdentifier());
        return;
    }
    m_platform.showAlert(QStringLiteral("Couldn’t run your commands"),
                         error.numbered
                             ? error.message + u" (error "_s + QString::number(error.number) + u')'
                             : error.message);
}

void LaunchAlerts::showNotInstalledAlert(TerminalApp terminal)
{
    const auto [message, informative] = notInstalledText(terminal);
    m_platform.showAlert(message, informative);
}

std::pair<QString, QString> LaunchAlerts::notInstalledText(TerminalApp terminal)
{
    const QString name = displayName(terminal);
    return {name + u" isn’t installed"_s,
            u"Pick a different terminal app in Edit Commands…, or install "_s + name +
                u" and try again."_s};
}

} // namespace corvane
