#include "TerminalChoice.h"

#include "Platform.h"
#include "TerminalTable.h"

namespace corvane {

QList<TerminalApp> installedTerminals(const Platform &platform)
{
    QList<TerminalApp> result;
    for (TerminalApp app : allTerminalApps) {
        if (platform.terminalLocation(app))
            result.append(app);
    }
    return result;
}

QList<TerminalApp> fallbackCandidates(const Platform &platform)
{
    QList<TerminalApp> candidates = platform.preferredTerminals();
    candidates.append(QList<TerminalApp>(allTerminalApps.begin(), allTerminalApps.end()));
    return candidates;
}

std::optional<TerminalApp> replacementTerminal(TerminalApp current,
                                               const QList<TerminalApp> &installed,
                                               const QList<TerminalApp> &candidates)
{
    if (installed.contains(current))
        return std::nullopt;
    for (TerminalApp candidate : candidates) {
        if (installed.contains(candidate))
            return candidate;
    }
    return TerminalApp::appleTerminal;
}

} // namespace corvane
