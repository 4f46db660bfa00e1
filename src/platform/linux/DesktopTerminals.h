#pragma once

#include "TerminalApp.h"

#include <QList>

namespace corvane {

// The terminals this desktop prefers, most preferred first and without
// repeats: the one $TERMINAL names; the freedesktop terminal lists
// (`<desktop>-xdg-terminals.list`, then `xdg-terminals.list`, in each configuration folder from
// $XDG_CONFIG_HOME on); GNOME's or KDE's own setting; what Debian's x-terminal-emulator links
// to; the terminal of the desktop in $XDG_CURRENT_DESKTOP. None of them need be installed.
QList<TerminalApp> desktopPreferredTerminals();

} // namespace corvane
