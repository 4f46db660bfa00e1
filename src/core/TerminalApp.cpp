#include "TerminalApp.h"

#include "TerminalTable.h"

namespace corvane {

QString rawValue(TerminalApp app)
{
    return qview(traits(app).rawValue).toString();
}

std::optional<TerminalApp> terminalAppFromRawValue(const QString &text)
{
    for (const TerminalTraits &row : terminalTable) {
        if (text == qview(row.rawValue))
            return row.app;
    }
    return std::nullopt;
}

QString displayName(TerminalApp app)
{
    return qview(traits(app).displayName).toString();
}

TerminalLaunchStyle launchStyle(TerminalApp app)
{
    return traits(app).launchStyle;
}

bool combinesCommands(TerminalApp app)
{
    return launchStyle(app) != TerminalLaunchStyle::appleScript;
}

} // namespace corvane
