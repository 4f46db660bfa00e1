#include "PackedCommandBuilder.h"

#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <clocale>

using namespace corvane;
using namespace Qt::StringLiterals;

namespace {

QList<CommandStep> steps(const QStringList &commands, const QList<double> &delays = {})
{
    QList<CommandStep> list;
    for (qsizetype i = 0; i < commands.size(); ++i)
        list.append(CommandStep{QUuid::createUuid(), commands[i], delays.value(i)});
    return list;
}

void writeScript(const QString &path, const QByteArray &body)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write("#!/bin/sh\n" + body) > 0);
    QVERIFY(file.setPermissions(file.permissions() | QFileDevice::ExeOwner));
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
        QTest::addColumn<std::optional<QString>>("packedOverride");
        const auto row = [](const char *name, const QStringList &commands,
                            const QList<double> &delays, const QString &expected,
                            std::optional<QString> packedOverride = {}) {
            QTest::newRow(name) << commands << delays << expected << packedOverride;
        };
        const QString ssh = u"ssh box -t 'exec $SHELL -ilc \"%1\"'"_s;
        row("no steps", {}, {}, {});
        row("only blank steps", {u""_s, u" \t\n"_s, u"\u200b\u3000"_s}, {1, 2}, {});
        row("one command, no sleep", {u" ls "_s}, {5}, u"ls"_s);
        row("trimmed, blank dropped with its delay, last delay unused",
            {u"  echo a  "_s, u"\n"_s, u"echo b"_s, u"echo c"_s}, {1.5, 3, 0.25, 5},
            u"echo a; sleep 1.5; echo b; sleep 0.25; echo c"_s);
        row("zero, negative, NaN", {u"a"_s, u"b"_s, u"c"_s, u"d"_s}, {0, -1, qQNaN()},
            u"a; b; c; d"_s);
        row("inner text verbatim", {u"\techo  \"$1\" 'x' \\\n\necho 2 \r\n"_s, u"x"_s}, {},
            u"echo  \"$1\" 'x' \\\n\necho 2; x"_s);
        row("%g", {u"a"_s, u"b"_s, u"c"_s, u"d"_s, u"e"_s}, {0.00001, 1000000, 1234567, 0.1 + 0.2},
            u"a; sleep 1e-05; b; sleep 1e+06; c; sleep 1.23457e+06; d; sleep 0.3; e"_s);
        row("ssh alone", {u"ssh box"_s}, {3}, u"ssh box"_s);
        row("ssh drops every delay", {u"ssh box"_s, u"cd app"_s, u"tail -f log"_s}, {3, 1},
            ssh.arg(u"cd app && tail -f log"_s));
        row("ssh escaping", {u"ssh box"_s, u"echo \"hi\" 'x' a\\\"b $HOME `id`"_s}, {},
            ssh.arg(u"echo \\\"hi\\\" '\\''x'\\'' a\\\\\\\"b $HOME `id`"_s));
        row("ssh later in the first", {u" cd repo;  ssh   box"_s, u"ls"_s}, {},
            u"cd repo;  ssh   box -t 'exec $SHELL -ilc \"ls\"'"_s);
        row("ssh after a blank step", {u" "_s, u"ssh box"_s, u"ls"_s}, {}, ssh.arg(u"ls"_s));
        for (const char *first :
             {"SSH box", "autossh box", "/usr/bin/ssh box", "ssh://h", "a\tssh\tb"})
            row(first, {QString::fromUtf8(first), u"ls"_s}, {},
                QString::fromUtf8(first) + u"; ls"_s);
        row("ssh only later", {u"cd"_s, u"ssh box"_s}, {1}, u"cd; sleep 1; ssh box"_s);
        row("blank override", {u"ssh box"_s, u"ls"_s}, {}, ssh.arg(u"ls"_s), u" \n\t"_s);
        row("override trimmed, verbatim, without steps", {u" "_s}, {}, u"ssh box; ls 'a'"_s,
            u"\n ssh box; ls 'a' \n"_s);
    }

    void packed()
    {
        QFETCH(QStringList, commands);
        QFETCH(QList<double>, delays);
        QFETCH(QString, expected);
        QFETCH(std::optional<QString>, packedOverride);
        const TabGroup group{QUuid::createUuid(), u"w"_s, steps(commands, delays), packedOverride};
        QCOMPARE(PackedCommandBuilder::effectiveCommand(group), expected);
        if (!packedOverride)
            QCOMPARE(PackedCommandBuilder::packed(group.commands), expected);
    }

    void delaysIgnoreTheProcessLocale()
    {
        // QCoreApplication adopts the user's locale, which may use a decimal comma.
        QTemporaryDir locales;
        qputenv("LOCPATH", QFile::encodeName(locales.path()));
        QProcess::execute(u"localedef"_s, {u"-i"_s, u"de_DE"_s, u"-f"_s, u"UTF-8"_s,
                                           locales.filePath(u"de_DE.UTF-8"_s)});
        if (!std::setlocale(LC_NUMERIC, "de_DE.UTF-8"))
            QSKIP("no comma locale could be built");
        const QString packed = PackedCommandBuilder::packed(steps({u"a"_s, u"b"_s}, {2.5}));
        const bool comma = std::localeconv()->decimal_point == QByteArrayView(",");
        std::setlocale(LC_NUMERIC, "C");
        QVERIFY(comma); // the locale really was in effect
        QCOMPARE(packed, u"a; sleep 2.5; b"_s);
    }

    void shellsRunPackedCommands_data()
    {
        QTest::addColumn<QString>("shell");
        QTest::addColumn<bool>("remote");
        for (const char *shell : {"bash", "zsh", "dash"}) {
            QTest::addRow("%s plain", shell) << QString::fromUtf8(shell) << false;
            QTest::addRow("%s remote", shell) << QString::fromUtf8(shell) << true;
        }
    }

    void shellsRunPackedCommands()
    {
        // Stand-ins for sleep and ssh log what they are asked to do; ssh then runs the remote
        // part through a shell as sshd would, so quoting is checked by real shell parsing.
        QFETCH(QString, shell);
        QFETCH(bool, remote);
        const QString program = QStandardPaths::findExecutable(shell);
        if (program.isEmpty())
            QSKIP("shell not installed");
        QTemporaryDir dir;
        writeScript(dir.filePath(u"sleep"_s), "echo \"sleep $*\"\n");
        writeScript(dir.filePath(u"ssh"_s), "echo \"ssh $1 $2\"\nexec /bin/sh -c \"$3\"\n");
        QStringList commands{u"echo a"_s, u" "_s, u"printf '%s\\n' \"it's \\\"q\\\" \\\\b\""_s,
                             u"echo c"_s};
        if (remote)
            commands.prepend(u"ssh box"_s);
        QProcess process;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(u"PATH"_s, dir.path() + u':' + env.value(u"PATH"_s));
        env.insert(u"SHELL"_s, program);
        env.insert(u"HOME"_s, dir.path()); // no profile of the developer's gets read
        process.setProcessEnvironment(env);
        process.start(program, {u"-c"_s, PackedCommandBuilder::packed(
                                             steps(commands, {0.5, 3, 0.25, 0, 9}))});
        QVERIFY(process.waitForFinished(20000));
        QVERIFY2(process.exitCode() == 0, process.readAllStandardError().constData());
        QCOMPARE(process.readAllStandardOutput(),
                 remote ? QByteArray("ssh box -t\na\nit's \"q\" \\b\nc\n")
                        : QByteArray("a\nsleep 0.5\nit's \"q\" \\b\nsleep 0.25\nc\n"));
    }
};

QTEST_GUILESS_MAIN(TestPackedCommandBuilder)
#include "tst_packedcommandbuilder.moc"
