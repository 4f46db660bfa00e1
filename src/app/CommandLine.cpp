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
    parser.addOptions({help, version, dryRun});
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
    if (command == u"run")
        return {parser.isSet(dryRun) ? Action::dryRun : Action::run, {}};
    if (!command.isEmpty() && command != u"edit")
        return error(u"Unknown command '%1'."_s.arg(command));
    if (parser.isSet(dryRun))
        return error(u"--dry-run goes with run."_s);
    return {command.isEmpty() ? Action::tray : Action::edit, {}};
}

QString CommandLine::helpText()
{
    return u"Usage: corvane [run [--dry-run] | edit]\n"
           u"\n"
           u"Opens your usual set of terminal windows with one click, from the tray.\n"
           u"\n"
           u"Commands:\n"
           u"  (none)         Start Corvane in the tray. If it is running already, open its\n"
           u"                 editor.\n"
           u"  run            Run the startup commands, as the menu's Run Startup Commands\n"
           u"                 does, in the running Corvane or in a new one that stays in the\n"
           u"                 tray. Fails when there is nothing to run or a run is under way.\n"
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
    return u"Usage: corvane [run [--dry-run] | edit]   (corvane --help tells more)"_s;
}

QString CommandLine::nothingToRunText()
{
    return u"Nothing to run: no window has a command. Add some in Edit Commands…"_s;
}

QString CommandLine::alreadyRunningText()
{
    return u"A run is already under way."_s;
}

} // namespace corvane
