#pragma once

#include "Platform.h"
#include "Sleeper.h"

#include <memory>
#include <optional>

namespace corvane {

// The platform and the wait clock of the operating system Corvane was built for, so that
// main() needs no per-OS code.
std::unique_ptr<Platform> makeSystemPlatform();
std::unique_ptr<Sleeper> makeSystemSleeper();

// A main()'s arguments without those the system adds on its own (macOS: "-psn_…"), so that the
// command line is read as the user gave it.
QStringList withoutSystemArguments(const QStringList &arguments);

// Why no window can be shown (no display server to talk to), or nothing when one can. Checked
// before Qt starts, since Qt aborts without a display.
std::optional<QString> graphicalSessionProblem();

} // namespace corvane
