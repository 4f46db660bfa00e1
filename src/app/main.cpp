#include "ConfigStore.h"
#include "SingleInstance.h"
#include "SystemPlatform.h"
#include "TerminalRunner.h"
#include "TrayShell.h"
#include "UpdateChecker.h"
#include "UpdateFeed.h"

#include <QApplication>

#include <cstdio>

int main(int argc, char *argv[])
{
    // Qt aborts without a display; say why in one line instead.
    if (const auto problem = corvane::graphicalSessionProblem()) {
        std::fprintf(stderr, "corvane: %s\n", qPrintable(*problem));
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
