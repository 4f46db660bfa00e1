#include "CommandLine.h"

#include <QCommandLineParser>

namespace corvane {

using namespace Qt::StringLiterals;

CommandLine CommandLine::parse(const QStringList &arguments)
{
    QCommandLineParser parser;
    // Qt's own -h/-v options would also claim --help-all, which lists Qt options that Corvane
    // does not take.
    const QCommandLineOption help(QStringList{u"h"_s, u"help"_s});
    const QCommandLineOption version(QStringList{u"v"_s, u"version"_s});
    const QCommandLineOption dryRun(u"dry-run"_s);
    const QCommandLineOption noWait(u"no-wait"_s);
    parser.addOptions({help, version, dryRun, noWait});
    parser.addPositionalArgument(u"command"_s, {});

    const auto error = [](const QString &text) { return CommandLine{Action::usageError, text}; };
    if (!parser.parse(arguments))
        return error(parser.errorText());
    if (parser.isSet(help))
        return {Action::help, {}};
    if (parser.isSet(version))
        return {Action::version, {}};

    const QStringList words = parser.positionalArguments();
    if (words.size() > 1)
        return error(u"Too many arguments: %1."_s.arg(words.mid(1).join(u' ')));
    const QString command = words.value(0);
    if (command == u"run") {
        if (parser.isSet(dryRun) && parser.isSet(noWait))
            return error(u"--dry-run and --no-wait do not go together."_s);
        return {parser.isSet(dryRun) ? Action::dryRun : Action::run, {}, !parser.isSet(noWait)};
    }
    if (!command.isEmpty() && command != u"edit")
        return error(u"Unknown command '%1'."_s.arg(command));
    for (const auto *option : {&dryRun, &noWait}) {
        if (parser.isSet(*option))
            return error(u"--%1 goes with run."_s.arg(option->names().constFirst()));
    }
    return {command.isEmpty() ? Action::tray : Action::edit, {}};
}

QString CommandLine::helpText()
{
    return u"Usage: corvane [run [--dry-run | --no-wait] | edit]\n"
           u"\n"
           u"Opens your usual set of terminal windows with one click, from the tray.\n"
           u"\n"
           u"Commands:\n"
           u"  (none)         Start Corvane in the tray. If it is running already, open its\n"
           u"                 editor.\n"
           u"  run            Run the startup commands, as the menu's Run Startup Commands\n"
           u"                 does, in the running Corvane or in a new one that stays in the\n"
           u"                 tray. Waits until the last window has started, or until an alert\n"
           u"                 appears, whose text it prints. Fails when there is nothing to\n"
           u"                 run, a run is under way, config.json cannot be read, or the run\n"
           u"                 ends with an alert.\n"
           u"  run --no-wait  The same, but returns as soon as the run has started.\n"
           u"  run --dry-run  Print what a run would do, one window per line, and start\n"
           u"                 nothing. Needs no display.\n"
           u"  edit           Open the editor, in the running Corvane or in a new one.\n"
           u"\n"
           u"Options:\n"
           u"  -h, --help     Show this help.\n"
           u"  -v, --version  Show the version.\n"_s;
}

QString CommandLine::usageLine()
{
    return u"Usage: corvane [run [--dry-run | --no-wait] | edit]   (corvane --help tells more)"_s;
}

QString CommandLine::nothingToRunText()
{
    return u"Nothing to run: no window has a command. Add some in Edit Commands…"_s;
}

QString CommandLine::unreadableText(const QString &path, const QString &reason)
{
    return u"Couldn’t read %1: %2."_s.arg(path, reason);
}

QString CommandLine::alreadyRunningText()
{
    return u"A run is already under way."_s;
}

} // namespace corvane
