#pragma once

#include "TabGroup.h"
#include "TerminalApp.h"

#include <QList>

namespace corvane {

// The group list of a fresh configuration: one "Window 1" with one empty step, new ids.
QList<TabGroup> defaultGroups();

// The whole user configuration. A default-constructed value is the default configuration.
struct AppConfig {
    TerminalApp terminalApp = TerminalApp::appleTerminal;
    QList<TabGroup> groups = defaultGroups();

    friend bool operator==(const AppConfig &, const AppConfig &) = default;
};

// True when some step holds a non-blank command: there is something to run. Custom packed
// commands do not count.
bool hasCommands(const AppConfig &config);

} // namespace corvane
