// What each command line asks for, and what it refuses with a usage error.
#include "CommandLine.h"

#include <QTest>

using namespace corvane;
using namespace Qt::StringLiterals;
using Action = CommandLine::Action;

class CommandLineTest final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void parse_data()
    {
        QTest::addColumn<QString>("arguments");
        QTest::addColumn<Action>("action");
        QTest::addColumn<QString>("error");
        const auto row = [](const char *name, const QString &arguments, Action action,
                            const QString &error = {}) {
            QTest::newRow(name) << arguments << action << error;
        };
        row("nothing", u""_s, Action::tray);
        row("run", u"run"_s, Action::run);
        row("dry run, option first", u"--dry-run run"_s, Action::dryRun);
        row("edit", u"edit"_s, Action::edit);
        row("help wins", u"run --help"_s, Action::help);
        row("short help", u"-h"_s, Action::help);
        row("version", u"--version"_s, Action::version);
        row("short version", u"-v"_s, Action::version);
        row("unknown command", u"start"_s, Action::usageError, u"Unknown command 'start'."_s);
        row("unknown option", u"run --now"_s, Action::usageError, u"Unknown option 'now'."_s);
        row("Qt's own options are not ours", u"-platform offscreen"_s, Action::usageError,
            u"Unknown options: p, l, a, t, f, o, r, m."_s);
        row("two commands", u"run edit"_s, Action::usageError, u"Too many arguments: edit."_s);
        row("dry run alone", u"--dry-run"_s, Action::usageError, u"--dry-run goes with run."_s);
        row("dry run with edit", u"edit --dry-run"_s, Action::usageError,
            u"--dry-run goes with run."_s);
        row("case matters", u"Run"_s, Action::usageError, u"Unknown command 'Run'."_s);
    }

    void parse()
    {
        QFETCH(QString, arguments);
        QFETCH(Action, action);
        QFETCH(QString, error);
        const CommandLine parsed = CommandLine::parse(QStringList{u"corvane"_s} +
                                                      arguments.split(u' ', Qt::SkipEmptyParts));
        QCOMPARE(parsed.action, action);
        QCOMPARE(parsed.error, error);
    }
};

QTEST_GUILESS_MAIN(CommandLineTest)
#include "tst_commandline.moc"
