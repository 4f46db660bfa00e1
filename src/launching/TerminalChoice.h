#pragma once

#include "TerminalApp.h"

#include <QList>

#include <optional>

namespace corvane {

class Platform;

// The terminals found on this machine, in the order they are offered.
QList<TerminalApp> installedTerminals(const Platform &platform);
// The terminals to fall back on, in order, when the chosen one is not installed: those the system
// prefers (on macOS, Terminal), then every terminal.
QList<TerminalApp> fallbackCandidates(const Platform &platform);
// The terminal to switch to when `current` is not installed: the first installed candidate, or
// Terminal when there is none. Nothing when `current` is installed.
std::optional<TerminalApp> replacementTerminal(TerminalApp current,
                                               const QList<TerminalApp> &installed,
                                               const QList<TerminalApp> &candidates);

} // namespace corvane
