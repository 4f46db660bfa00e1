#include "SystemPlatform.h"

#include "AppInfo.h"
#include "ContinuousClockSleeper.h"
#include "LaunchAgent.h"
#include "MacBridge.h"
#include "MacPlatform.h"

#include <QCoreApplication>

namespace corvane {

std::unique_ptr<Platform> makeSystemPlatform()
{
    MacPlatform::System system;
    system.findApplication = &macbridge::applicationBundle;
    system.activate = &macbridge::activateApplication;
    // launchd names the job by its label; the bundle identifier keeps it Corvane's own.
    const QString label = appBundleIdentifier();
    system.loginItem = [label] { return LaunchAgent::read(LaunchAgent::path(label)); };
    system.setLoginItem = [label](LoginStart start) {
        // The executable inside the Corvane.app that is running now, wherever it was installed.
        return LaunchAgent::write(LaunchAgent::path(label), start, label,
                                  QCoreApplication::applicationFilePath());
    };
    return std::make_unique<MacPlatform>(std::move(system));
}

std::unique_ptr<Sleeper> makeSystemSleeper()
{
    return std::make_unique<ContinuousClockSleeper>();
}

std::optional<QString> graphicalSessionProblem()
{
    // A logged-in Mac always has its window server; there is no display to name.
    return std::nullopt;
}

} // namespace corvane
