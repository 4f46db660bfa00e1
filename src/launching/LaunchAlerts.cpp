#include "LaunchAlerts.h"

#include "AppInfo.h"

namespace corvane {

using namespace Qt::StringLiterals;

std::pair<QString, QString> LaunchAlerts::failureText(const ScriptError &error)
{
    if (error.number == automationDenied) {
        return {u"Corvane isn’t allowed to control your terminal app"_s,
                u"Grant permission in System Settings → Privacy & Security → Automation → "
                u"Corvane, and enable your terminal app there.\n\nIf Corvane isn’t listed there, "
                u"run this in a terminal and try again:\ntccutil reset AppleEvents "_s +
                    appBundleIdentifier()};
    }
    return {u"Couldn’t run your commands"_s,
            error.numbered ? error.message + u" (error "_s + QString::number(error.number) + u')'
                           : error.message};
}

std::pair<QString, QString> LaunchAlerts::notInstalledText(TerminalApp terminal)
{
    const QString name = displayName(terminal);
    return {name + u" isn’t installed"_s,
            u"Pick a different terminal app in Edit Commands…, or install "_s + name +
                u" and try again."_s};
}

} // namespace corvane
