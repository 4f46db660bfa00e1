#pragma once

#include "Platform.h"
#include "Sleeper.h"

#include <memory>

namespace corvane {

// The platform and the wait clock of the operating system Corvane was built for, so that
// main() needs no per-OS code.
std::unique_ptr<Platform> makeSystemPlatform();
std::unique_ptr<Sleeper> makeSystemSleeper();

} // namespace corvane
