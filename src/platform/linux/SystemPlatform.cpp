#include "SystemPlatform.h"

#include "BootTimeSleeper.h"
#include "LinuxPlatform.h"

namespace corvane {

std::unique_ptr<Platform> makeSystemPlatform()
{
    return std::make_unique<LinuxPlatform>();
}

std::unique_ptr<Sleeper> makeSystemSleeper()
{
    return std::make_unique<BootTimeSleeper>();
}

} // namespace corvane
