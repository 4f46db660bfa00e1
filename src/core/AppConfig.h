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
    // How Linux windows get their commands: empty packs them into one line; "tmux" types them
    // one at a time into a tmux session. Any other text is kept as read and means packed.
    QString typing;

    friend bool operator==(const AppConfig &, const AppConfig &) = default;
};

// True when some step holds a non-blank command: there is something to run. Custom packed
// commands do not count.
bool hasCommands(const AppConfig &config);

} // namespace corvane
