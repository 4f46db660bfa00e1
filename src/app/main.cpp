#include "CommandLine.h"
#include "ConfigStore.h"
#include "DryRun.h"
#include "RunPolicy.h"
#include "RunWatch.h"
#include "SingleInstance.h"
#include "SystemPlatform.h"
#include "TerminalRunner.h"
#include "TrayShell.h"
#include "UpdateChecker.h"
#include "UpdateFeed.h"

#include <QApplication>

#include <cstdio>

namespace {

using corvane::CommandLine;
using corvane::instance::Reply;
using corvane::instance::Request;

void print(std::FILE *stream, const QString &text)
{
    std::fputs(text.toUtf8().constData(), stream);
}

void complain(const QString &line)
{
    print(stderr, QStringLiteral("corvane: ") + line + u'\n');
}

// A later start's exit status: 0 once the running Corvane took the request.
int report(const Reply &reply)
{
    if (reply.ok)
        return 0;
    complain(reply.reason);
    return 1;
}

// Why a run cannot start now, or nothing.
std::optional<QString> refusalText(const corvane::ConfigStore &store,
                                   const corvane::TerminalRunner &runner)
{
    // An unreadable file leaves the default configuration, which has nothing to run either.
    if (!store.loadError().isEmpty())
        return CommandLine::unreadableText(store.filePath(), store.loadError());
    const auto refusal = corvane::runRefusal(runner, store.config());
    if (!refusal)
        return std::nullopt;
    return *refusal == corvane::RunRefusal::alreadyRunning ? CommandLine::alreadyRunningText()
                                                           : CommandLine::nothingToRunText();
}

Request requestFor(const CommandLine &command)
{
    if (command.action != CommandLine::Action::run)
        return Request::edit;
    return command.wait ? Request::run : Request::runNoWait;
}

// The tray application, or a hand-over to the one already running.
int runInstance(int argc, char *argv[], const CommandLine &command)
{
    const Request request = requestFor(command);
    const std::unique_ptr<corvane::Platform> platform = corvane::makeSystemPlatform();

    // Qt aborts without a display. A running Corvane can still take the request (from a script
    // or an SSH session); otherwise say why in one line.
    if (const auto problem = corvane::graphicalSessionProblem()) {
        const QCoreApplication app(argc, argv);
        corvane::SingleInstance instance(platform->applicationSupportDirectory());
        if (const auto reply = instance.handOver(request))
            return report(*reply);
        complain(instance.problem().value_or(*problem));
        return 1;
    }

    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Corvane"));
    QApplication::setApplicationVersion(corvane::currentAppVersion());
    // Closing the editor must not end a tray application (the fallback window quits itself).
    QApplication::setQuitOnLastWindowClosed(false);

    const QString supportDirectory = platform->applicationSupportDirectory();
    corvane::SingleInstance instance(supportDirectory);
    // Another user could take over a shared socket folder: better no Corvane than theirs.
    if (const auto problem = instance.problem()) {
        complain(*problem);
        return 1;
    }
    if (const auto reply = instance.handOverOrClaim(request))
        return report(*reply);

    corvane::UpdateChecker updater(corvane::updateFeedUrl(), corvane::currentAppVersion());
    const std::unique_ptr<corvane::Sleeper> sleeper = corvane::makeSystemSleeper();
    corvane::ConfigStore store(supportDirectory);
    corvane::TerminalRunner runner(*platform, *sleeper);
    corvane::RunWatch watch(runner);

    corvane::TrayShell shell(store, runner, updater, *platform);
    instance.setHandler([&](Request received, const corvane::SingleInstance::Answer &answer) {
        if (received == Request::edit) {
            answer({});
            shell.showEditor();
            return;
        }
        if (const auto refused = refusalText(store, runner)) {
            answer({false, *refused});
            return;
        }
        if (received == Request::run) {
            watch.whenKnown([answer](const std::optional<QString> &alert) {
                answer(alert ? Reply{false, *alert} : Reply{});
            });
        } else {
            answer({}); // before the run, which may hold everything up behind an alert
        }
        corvane::startRun(runner, store.config());
    });
    shell.start();

    // A new user is not left with a silent tray icon: with nothing configured yet, the editor
    // shows where to start. Opening it writes nothing, so later starts stay quiet only once
    // something has been saved.
    if (command.action == CommandLine::Action::edit || store.isFirstStart())
        shell.showEditor();
    if (command.action == CommandLine::Action::run) {
        // This process stays in the tray whatever happens; a refusal or an alert is reported.
        if (const auto refused = refusalText(store, runner)) {
            complain(*refused);
        } else {
            watch.whenKnown([](const std::optional<QString> &alert) {
                if (alert)
                    complain(*alert);
            });
            corvane::startRun(runner, store.config());
        }
    }
    return QApplication::exec();
}

} // namespace

int main(int argc, char *argv[])
{
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments.append(QString::fromLocal8Bit(argv[i]));
    const CommandLine command = CommandLine::parse(corvane::withoutSystemArguments(arguments));

    switch (command.action) {
    case CommandLine::Action::help:
        print(stdout, CommandLine::helpText());
        return 0;
    case CommandLine::Action::version:
        print(stdout, QStringLiteral("Corvane ") + corvane::currentAppVersion() + u'\n');
        return 0;
    case CommandLine::Action::usageError:
        complain(command.error);
        print(stderr, CommandLine::usageLine() + u'\n');
        return 2;
    case CommandLine::Action::dryRun: {
        // No display needed: nothing is shown.
        const QCoreApplication app(argc, argv);
        const std::unique_ptr<corvane::Platform> platform = corvane::makeSystemPlatform();
        const corvane::DryRunOutput output = corvane::dryRun(*platform);
        print(stdout, output.out);
        if (!output.err.isEmpty())
            complain(output.err);
        return output.status;
    }
    case CommandLine::Action::tray:
    case CommandLine::Action::run:
    case CommandLine::Action::edit:
        break;
    }
    return runInstance(argc, argv, command);
}
