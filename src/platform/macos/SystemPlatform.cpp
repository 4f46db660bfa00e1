#include "SystemPlatform.h"

#include "ContinuousClockSleeper.h"
#include "MacBridge.h"
#include "MacPlatform.h"

namespace corvane {

std::unique_ptr<Platform> makeSystemPlatform()
{
    MacPlatform::System system;
    system.findApplication = &macbridge::applicationBundle;
    system.activate = &macbridge::activateApplication;
    system.loginItemStatus = &macbridge::loginItemStatus;
    system.registerLoginItem = &macbridge::registerLoginItem;
    system.beginActivity = &macbridge::beginRunActivity;
    return std::make_unique<MacPlatform>(std::move(system));
}

std::unique_ptr<Sleeper> makeSystemSleeper()
{
    return std::make_unique<ContinuousClockSleeper>();
}

QStringList withoutSystemArguments(const QStringList &arguments)
{
    return MacPlatform::withoutProcessSerialNumber(arguments);
}

std::optional<QString> graphicalSessionProblem()
{
    // A logged-in Mac always has its window server; there is no display to name.
    return std::nullopt;
}

} // namespace corvane
