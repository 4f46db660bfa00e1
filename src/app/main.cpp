#include "ConfigStore.h"
#include "SingleInstance.h"
#include "SystemPlatform.h"
#include "TerminalRunner.h"
#include "TrayShell.h"
#include "UpdateChecker.h"
#include "UpdateFeed.h"

#include <QApplication>
#include <QByteArrayList>

#include <cstdio>

namespace {

// QApplication aborts without a display; say why in one line instead.
bool hasGraphicalSession()
{
#if defined(Q_OS_UNIX) && !defined(Q_OS_MACOS)
    const bool x11 = !qEnvironmentVariableIsEmpty("DISPLAY");
    const bool wayland = !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
    const QByteArray requested = qgetenv("QT_QPA_PLATFORM");
    if (requested.isEmpty())
        return x11 || wayland;
    // A list like "wayland;xcb" is tried in order; platforms such as offscreen need no server.
    for (const QByteArray &entry : requested.split(';')) {
        const QByteArray name = entry.split(':').first().trimmed();
        if (name == "xcb") {
            if (x11)
                return true;
        } else if (name.startsWith("wayland")) {
            if (wayland)
                return true;
        } else if (!name.isEmpty()) {
            return true;
        }
    }
    return false;
#else
    return true;
#endif
}

} // namespace

int main(int argc, char *argv[])
{
    if (!hasGraphicalSession()) {
        std::fputs("corvane: needs a graphical session (no DISPLAY or WAYLAND_DISPLAY set)\n",
                   stderr);
        return 1;
    }

    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Corvane"));
    QApplication::setApplicationVersion(corvane::currentAppVersion());
    // Closing the editor must not end a tray application (the fallback window quits itself).
    QApplication::setQuitOnLastWindowClosed(false);

    const std::unique_ptr<corvane::Platform> platform = corvane::makeSystemPlatform();
    const QString supportDirectory = platform->applicationSupportDirectory();

    corvane::SingleInstance instance(supportDirectory);
    if (!instance.claim())
        return 0;

    corvane::UpdateChecker updater(corvane::updateFeedUrl(), corvane::currentAppVersion());
    const std::unique_ptr<corvane::Sleeper> sleeper = corvane::makeSystemSleeper();
    corvane::ConfigStore store(supportDirectory);
    corvane::TerminalRunner runner(*platform, *sleeper);

    corvane::TrayShell shell(store, runner, updater, *platform);
    QObject::connect(&instance, &corvane::SingleInstance::activationRequested, &shell,
                     &corvane::TrayShell::showEditor);
    shell.start();
    return QApplication::exec();
}
