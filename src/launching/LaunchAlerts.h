#pragma once

#include "ScriptError.h"
#include "TerminalApp.h"

#include <utility>

namespace corvane {

// The texts of the modal alerts that end a failed run: message and informative text.
class LaunchAlerts final {
public:
    LaunchAlerts() = delete;

    // The AppleScript error number for "not allowed to send Apple events to this application".
    static constexpr std::int64_t automationDenied = -1743;

    // The permission alert for automationDenied, the failure alert for everything else.
    static std::pair<QString, QString> failureText(const ScriptError &error);
    static std::pair<QString, QString> notInstalledText(TerminalApp terminal);
};

} // namespace corvane
