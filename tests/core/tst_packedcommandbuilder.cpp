#include "PackedCommandBuilder.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <clocale>
#include <cmath>
#include <limits>

using namespace corvane;
using namespace Qt::StringLiterals;

namespace {

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

QList<CommandStep> steps(const QStringList &commands, const QList<double> &delays)
{
    QList<CommandStep> list;
    for (qsizetype i = 0; i < commands.size(); ++i)
        list.append(CommandStep{QUuid::createUuid(), commands[i], delays.value(i)});
    return list;
}

QString shellQuoted(const QString &path)
{
    return u'\'' + path + u'\'';
}

} // namespace

class TestPackedCommandBuilder final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void packed_data()
    {
        QTest::addColumn<QStringList>("commands");
        QTest::addColumn<QList<double>>("delays");
        QTest::addColumn<QString>("expected");

        const auto row = [](const char *name, QStringList commands, QList<double> delays,
                            QString expected) {
            QTest::newRow(name) << commands << delays << expected;
        };

        row("no steps", {}, {}, {});
        row("only blank steps", {u""_s, u" \t\n"_s, u"\u3000"_s}, {1, 2, 3}, {});
        row("one command keeps its delay to itself", {u"ls"_s}, {5}, u"ls"_s);
        row("sleep after the first", {u"cd ~/project"_s, u"npm run dev"_s}, {2, 0},
            u"cd ~/project; sleep 2; npm run dev"_s);
        row("trimmed, blank dropped with its delay",
            {u"  echo a  "_s, u""_s, u"echo b"_s, u"echo c"_s}, {1.5, 3, 0.25, 5},
            u"echo a; sleep 1.5; echo b; sleep 0.25; echo c"_s);
        row("negative delay", {u"make"_s, u"open build"_s}, {0, -1}, u"make; open build"_s);
        row("blank step's delay not carried", {u"a"_s, u"   "_s, u"b"_s}, {0, 5, 0}, u"a; b"_s);
        row("nan delay", {u"a"_s, u"b"_s}, {notANumber, 0}, u"a; b"_s);
        row("zero delay", {u"a"_s, u"b"_s}, {0, 0}, u"a; b"_s);
        row("last delay never emitted", {u"a"_s, u"b"_s}, {0.5, 9}, u"a; sleep 0.5; b"_s);
        row("inner whitespace and newlines kept", {u"\techo  1\n\necho 2 \r\n"_s, u"x"_s}, {},
            u"echo  1\n\necho 2; x"_s);
        row("unicode whitespace trimmed", {u"\u00a0a\u2028"_s, u"\u200bb\u205f"_s}, {}, u"a; b"_s);
        row("plain form pastes verbatim", {u"echo \"$HOME\" 'x' \\"_s, u"ls"_s}, {},
            u"echo \"$HOME\" 'x' \\; ls"_s);

        // "%g" shapes
        row("%g tiny", {u"a"_s, u"b"_s}, {0.00001}, u"a; sleep 1e-05; b"_s);
        row("%g million", {u"a"_s, u"b"_s}, {1000000}, u"a; sleep 1e+06; b"_s);
        row("%g rounded", {u"a"_s, u"b"_s}, {1234567}, u"a; sleep 1.23457e+06; b"_s);
        row("%g six digits", {u"a"_s, u"b"_s}, {0.1 + 0.2}, u"a; sleep 0.3; b"_s);
        row("%g just under a million", {u"a"_s, u"b"_s}, {999999}, u"a; sleep 999999; b"_s);
        row("%g 1e-4", {u"a"_s, u"b"_s}, {0.0001}, u"a; sleep 0.0001; b"_s);
        row("%g infinity", {u"a"_s, u"b"_s}, {std::numeric_limits<double>::infinity()},
            u"a; sleep inf; b"_s);

        // Remote form
        row("ssh alone", {u"ssh mydevbox"_s}, {3}, u"ssh mydevbox"_s);
        row("ssh with later commands", {u"ssh mydevbox"_s, u"cd app"_s, u"tail -f log"_s},
            {3, 1, 0}, u"ssh mydevbox -t 'exec $SHELL -ilc \"cd app && tail -f log\"'"_s);
        row("ssh escaping", {u"ssh -p 2222 box"_s, u"echo \"hi\" 'x'"_s}, {},
            u"ssh -p 2222 box -t 'exec $SHELL -ilc \"echo \\\"hi\\\" '\\''x'\\''\"'"_s);
        row("ssh backslash doubled once", {u"ssh box"_s, u"a\\\"b"_s}, {},
            u"ssh box -t 'exec $SHELL -ilc \"a\\\\\\\"b\"'"_s);
        row("ssh leaves $ and ` alone", {u"ssh box"_s, u"echo $HOME `id`"_s}, {},
            u"ssh box -t 'exec $SHELL -ilc \"echo $HOME `id`\"'"_s);
        row("ssh later in the command", {u"cd repo; ssh box"_s, u"ls"_s}, {},
            u"cd repo; ssh box -t 'exec $SHELL -ilc \"ls\"'"_s);
        row("ssh among runs of spaces", {u"  env   ssh   box  "_s, u"ls"_s}, {},
            u"env   ssh   box -t 'exec $SHELL -ilc \"ls\"'"_s);
        row("ssh after a blank first step", {u" "_s, u"ssh box"_s, u"ls"_s}, {},
            u"ssh box -t 'exec $SHELL -ilc \"ls\"'"_s);
        row("SSH is case-sensitive", {u"SSH box"_s, u"ls"_s}, {}, u"SSH box; ls"_s);
        row("autossh", {u"autossh box"_s, u"ls"_s}, {}, u"autossh box; ls"_s);
        row("path to ssh", {u"/usr/bin/ssh box"_s, u"ls"_s}, {}, u"/usr/bin/ssh box; ls"_s);
        row("ssh url", {u"ssh://host"_s, u"ls"_s}, {}, u"ssh://host; ls"_s);
        row("ssh after a tab", {u"env\tssh\tbox"_s, u"ls"_s}, {}, u"env\tssh\tbox; ls"_s);
        row("ssh only in a later step", {u"cd"_s, u"ssh box"_s}, {1}, u"cd; sleep 1; ssh box"_s);
    }

    void packed()
    {
        QFETCH(QStringList, commands);
        QFETCH(QList<double>, delays);
        QFETCH(QString, expected);
        QCOMPARE(PackedCommandBuilder::packed(steps(commands, delays)), expected);
    }

    void effectiveCommand_data()
    {
        QTest::addColumn<std::optional<QString>>("packedOverride");
        QTest::addColumn<QStringList>("commands");
        QTest::addColumn<QString>("expected");

        const QStringList built{u"ssh box"_s, u"ls"_s};
        const QString packed = u"ssh box -t 'exec $SHELL -ilc \"ls\"'"_s;
        QTest::newRow("absent") << std::optional<QString>() << built << packed;
        QTest::newRow("empty") << std::optional<QString>(QString()) << built << packed;
        QTest::newRow("blank") << std::optional<QString>(u"  \n\t "_s) << built << packed;
        QTest::newRow("used trimmed, verbatim")
            << std::optional<QString>(u"\n ssh box; ls 'a' \n"_s) << built << u"ssh box; ls 'a'"_s;
        QTest::newRow("used though steps pack to nothing")
            << std::optional<QString>(u"htop"_s) << QStringList{u" "_s} << u"htop"_s;
        QTest::newRow("nothing at all")
            << std::optional<QString>() << QStringList{u""_s} << QString();
    }

    void effectiveCommand()
    {
        QFETCH(std::optional<QString>, packedOverride);
        QFETCH(QStringList, commands);
        QFETCH(QString, expected);
        TabGroup group;
        group.commands = steps(commands, {5, 5});
        group.packedOverride = packedOverride;
        QCOMPARE(PackedCommandBuilder::effectiveCommand(group), expected);
    }

    void delaysIgnoreTheProcessLocale()
    {
        // A comma locale, built for this run when the system has none installed.
        QTemporaryDir localeDir;
        const char *const names[] = {"de_DE.UTF-8", "fr_FR.UTF-8", "de_DE.utf8"};
        const char *found = nullptr;
        for (const char *name : names) {
            if (std::setlocale(LC_NUMERIC, name)) {
                found = name;
                break;
            }
        }
        if (!found) {
            const QString localedef = QStandardPaths::findExecutable(u"localedef"_s);
            if (localedef.isEmpty() || !localeDir.isValid())
                QSKIP("no comma locale installed and no localedef to build one");
            QProcess build;
            build.start(localedef, {u"-i"_s, u"de_DE"_s, u"-f"_s, u"UTF-8"_s,
                                    localeDir.filePath(u"de_DE.UTF-8"_s)});
            QVERIFY(build.waitForFinished(120000));
            qputenv("LOCPATH", QFile::encodeName(localeDir.path()));
            found = "de_DE.UTF-8";
            if (!std::setlocale(LC_NUMERIC, found))
                QSKIP("could not build a comma locale");
        }
        char probe[16];
        std::snprintf(probe, sizeof probe, "%g", 2.5);
        const QByteArray localised(probe);
        const QString packed = PackedCommandBuilder::packed(steps({u"a"_s, u"b"_s}, {2.5}));
        std::setlocale(LC_NUMERIC, "C");
        qunsetenv("LOCPATH");
        QCOMPARE(localised, QByteArray("2,5")); // the locale really is in effect
        QCOMPARE(packed, u"a; sleep 2.5; b"_s);
    }

    void shellsRunThePlainForm_data()
    {
        QTest::addColumn<QString>("shell");
        QTest::newRow("bash") << u"bash"_s;
        QTest::newRow("zsh") << u"zsh"_s;
        QTest::newRow("dash") << u"dash"_s;
    }

    void shellsRunThePlainForm()
    {
        QFETCH(QString, shell);
        const QString program = QStandardPaths::findExecutable(shell);
        if (program.isEmpty())
            QSKIP("shell not installed");
        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        const QString log = shellQuoted(dir.filePath(u"log"_s));
        const auto stamp = [&](const QString &mark) {
            return u"echo "_s + mark + u" $(date +%s.%N) >> "_s + log;
        };
        // Blank and trailing delays must not turn into sleeps; the others must.
        const QList<CommandStep> commands =
            steps({stamp(u"a"_s), u"  "_s, stamp(u"b"_s), stamp(u"c"_s), stamp(u"d"_s)},
                  {0.05, 3, 0, 0.1, 30});
        const QString packed = PackedCommandBuilder::packed(commands);

        QProcess process;
        process.start(program, {u"-c"_s, packed});
        QVERIFY(process.waitForFinished(20000));
        QCOMPARE(process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(process.exitCode(), 0);

        QFile file(dir.filePath(u"log"_s));
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QList<QByteArray> lines = file.readAll().trimmed().split('\n');
        QCOMPARE(lines.size(), 4);
        QList<double> times;
        for (qsizetype i = 0; i < lines.size(); ++i) {
            const QList<QByteArray> fields = lines[i].split(' ');
            QCOMPARE(fields.size(), 2);
            QCOMPARE(fields[0], QByteArray(1, char('a' + i)));
            times.append(fields[1].toDouble());
        }
        QVERIFY2(times[1] - times[0] >= 0.05, qPrintable(packed));
        QVERIFY2(times[3] - times[2] >= 0.1, qPrintable(packed));
    }

    void remoteFormSurvivesTheShells()
    {
        // A stand-in ssh runs the remote part with the user's shell as sshd would, so the
        // escaping is checked by real shell parsing rather than by string comparison.
        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        const QString out = dir.filePath(u"out"_s);
        QFile fakeSsh(dir.filePath(u"ssh"_s));
        QVERIFY(fakeSsh.open(QIODevice::WriteOnly));
        fakeSsh.write("#!/bin/sh\n"
                      "# ssh HOST -t REMOTE: run REMOTE as a remote login would\n"
                      "[ \"$2\" = -t ] || exit 90\n"
                      "exec /bin/sh -c \"$3\"\n");
        fakeSsh.close();
        QVERIFY(fakeSsh.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner |
                                       QFileDevice::ExeOwner));

        // Quotes, apostrophes and backslashes reach the remote shell intact; $ and ` are
        // left for the remote side to expand, so they are not part of this round trip.
        const QString tricky = u"it's \"quoted\" \\back\\ & done"_s;
        const QString second =
            u"printf '%s\\n' \"it's \\\"quoted\\\" \\\\back\\\\ & done\" > "_s + shellQuoted(out);
        const QString packed = PackedCommandBuilder::packed(
            steps({u"ssh box"_s, u"cd "_s + shellQuoted(dir.path()), second}, {3, 1}));
        QVERIFY(packed.startsWith(u"ssh box -t 'exec $SHELL -ilc \""_s));

        QProcess process;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(u"PATH"_s, dir.path() + u':' + env.value(u"PATH"_s));
        env.insert(u"SHELL"_s, QStandardPaths::findExecutable(u"bash"_s));
        env.insert(u"HOME"_s, dir.path()); // no profile of the developer's gets read
        process.setProcessEnvironment(env);
        process.start(u"/bin/sh"_s, {u"-c"_s, packed});
        QVERIFY(process.waitForFinished(20000));
        QVERIFY2(process.exitCode() == 0, process.readAllStandardError().constData());
        QFile result(out);
        QVERIFY(result.open(QIODevice::ReadOnly));
        QCOMPARE(QString::fromUtf8(result.readAll()), tricky + u'\n');
    }
};

QTEST_GUILESS_MAIN(TestPackedCommandBuilder)
#include "tst_packedcommandbuilder.moc"
