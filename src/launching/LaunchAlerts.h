#pragma once

#include "ScriptError.h"
#include "TerminalApp.h"

#include <utility>

namespace corvane {

class Platform;

// The modal alerts that end a failed run.
class LaunchAlerts final {
public:
    explicit LaunchAlerts(Platform &platform);

    // The AppleScript error number for "not allowed to send Apple events to this application".
    static constexpr std::int64_t automationDenied = -1743;

    // The permission alert for automationDenied, the failure alert for everything else.
    void showAlert(const ScriptError &error);
    void showNotInstalledAlert(TerminalApp terminal);
    // The not-installed alert's message and informative text.
    static std::pair<QString, QString> notInstalledText(TerminalApp terminal);

private:
    Platform &m_platform;
};

} // namespace corvane
