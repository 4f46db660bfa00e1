#include "PackedCommandBuilder.h"
#include "Whitespace.h"

#include <QFile>
#include <QJsonObject>
#include <QProcess>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>

#include <clocale>

using namespace corvane;
using namespace Qt::StringLiterals;

namespace {

QList<CommandStep> steps(const QStringList &commands, const QList<double> &delays = {},
                         const QList<QJsonValue> &waits = {})
{
    QList<CommandStep> list;
    for (qsizetype i = 0; i < commands.size(); ++i)
        list.append({QUuid::createUuid(), commands[i], delays.value(i),
                     waits.value(i, QJsonValue::Undefined)});
    return list;
}

// How a later command reads inside `ssh host -t 'exec $SHELL -ilc "…"'`.
QString remote(QString text)
{
    return text.replace(u'"', u"\\\""_s).replace(u'$', u"\\$"_s).replace(u'\'', u"'\\''"_s);
}

const QJsonValue port5432 = QJsonObject{{u"port"_s, 5432}};
const QJsonValue badPort = QJsonObject{{u"port"_s, 70000}};

} // namespace

class TestPackedCommandBuilder final : public QObject {
    Q_OBJECT

    QTemporaryDir m_locales;

private Q_SLOTS:
    // QCoreApplication adopts the user's locale, which may use a decimal comma: every case runs
    // under one, and the delays must still be written with a full stop.
    void initTestCase()
    {
        qputenv("LOCPATH", QFile::encodeName(m_locales.path()));
        QProcess::execute(u"localedef"_s, {u"-i"_s, u"de_DE"_s, u"-f"_s, u"UTF-8"_s,
                                           m_locales.filePath(u"de_DE.UTF-8"_s)});
        QVERIFY2(std::setlocale(LC_NUMERIC, "de_DE.UTF-8"), "no comma locale could be built");
        QCOMPARE(std::localeconv()->decimal_point, QByteArrayView(","));
    }

    // What a blank step is, and what is trimmed off a command (the rows below rely on it).
    void whitespaceSet()
    {
        const QList<char32_t> members{0x09,   0x0A,   0x0B,   0x0C,   0x0D,   0x20,   0x85,
                                      0xA0,   0x1680, 0x2000, 0x2001, 0x2002, 0x2003, 0x2004,
                                      0x2005, 0x2006, 0x2007, 0x2008, 0x2009, 0x200A, 0x200B,
                                      0x2028, 0x2029, 0x202F, 0x205F, 0x3000};
        for (char32_t c = 0; c < 0x110000; ++c)
            QVERIFY2(isWhitespaceOrNewline(c) == members.contains(c),
                     qPrintable(QString::number(c, 16)));
        // QString::trimmed() would keep U+200B; a surrogate pair is never cut.
        QCOMPARE(trimmedWhitespace(u"\u200b \U0001F600\t\u00a0b\u2029"_s),
                 u"\U0001F600\t\u00a0b"_s);
        QVERIFY(isBlank(QString()) && isBlank(u" \t\r\n\u00a0\u3000"_s) && !isBlank(u"\ufeff"_s));
    }

    void packed_data()
    {
        QTest::addColumn<TabGroup>("group");
        QTest::addColumn<QString>("expected");
        const auto row = [](const char *name, const QStringList &commands,
                            const QList<double> &delays, const QString &expected,
                            std::optional<QString> packedOverride = {},
                            const QList<QJsonValue> &waits = {}) {
            TabGroup group{QUuid::createUuid(), u"w"_s, steps(commands, delays, waits),
                           packedOverride};
            QTest::newRow(name) << group << expected;
        };
        const QString ssh = u"ssh box -t 'exec $SHELL -ilc \"%1\"'"_s;
        const QString wait = PackedCommandBuilder::waitCommand(port5432);
        const QString skip = wait + u" || exec /bin/sh -il"_s;
        const QString ignored = u"echo 'Corvane: not waiting: the port must be a number from 1 "
                                u"to 65535'"_s;
        row("only blank steps", {u""_s, u" \t\n"_s, u"\u200b\u3000"_s}, {1, 2}, {});
        row("trimmed, blank dropped with its delay, last delay unused",
            {u"  echo a  "_s, u"\n"_s, u"echo b"_s, u"echo c"_s}, {1.5, 3, 0.25, 5},
            u"echo a; sleep 1.5; echo b; sleep 0.25; echo c"_s);
        row("inner text verbatim", {u"\techo  \"$1\" 'x' \\\n\necho 2 \r\n"_s, u"x"_s}, {},
            u"echo  \"$1\" 'x' \\\n\necho 2; x"_s);
        row("%g; no sleep for zero, negative or NaN",
            {u"a"_s, u"b"_s, u"c"_s, u"d"_s, u"e"_s, u"f"_s, u"g"_s, u"h"_s},
            {0.00001, 1000000, 1234567, 0.1 + 0.2, 0, -1, qQNaN()},
            u"a; sleep 1e-05; b; sleep 1e+06; c; sleep 1.23457e+06; d; sleep 0.3; e; f; g; h"_s);
        row("ssh alone", {u"ssh box"_s}, {3}, u"ssh box"_s);
        row("ssh drops every delay", {u"ssh box"_s, u"cd app"_s, u"tail -f log"_s}, {3, 1},
            ssh.arg(u"cd app && tail -f log"_s));
        row("ssh escaping", {u"ssh box"_s, u"echo \"hi\" 'x' a\\\"b $HOME `id`"_s}, {},
            ssh.arg(u"echo \\\"hi\\\" '\\''x'\\'' a\\\\\\\"b \\$HOME \\`id\\`"_s));
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
        row("a wait skips the rest when it gives up, before the delay", {u"db"_s, u"app"_s}, {2},
            u"db; "_s + skip + u"; sleep 2; app"_s, {}, {port5432});
        row("nothing waits after the last command", {u"db"_s}, {2}, u"db"_s, {}, {port5432});
        row("an unusable wait says so", {u"a"_s, u"b"_s}, {}, u"a; "_s + ignored + u"; b"_s, {},
            {badPort});
        row("waits run on the remote side", {u"ssh box"_s, u"b"_s, u"c"_s}, {},
            ssh.arg(remote(wait + u" && b && "_s + ignored + u" && c"_s)), {}, {port5432, badPort});

        TabGroup group{QUuid::createUuid(), u"w"_s, steps({u"a"_s, u"b"_s}, {1}, {port5432})};
        group.stopOnError = true;
        group.startWhen = QJsonObject{{u"file"_s, u"~/ready"_s}};
        const QString ready = PackedCommandBuilder::waitCommand(group.startWhen);
        QTest::newRow("start when, stop on error")
            << group << ready + u" && a && "_s + wait + u" && sleep 1 && b"_s;
        group.stopOnError = false;
        group.commands = steps({u"ssh box"_s, u"b"_s}, {}, {port5432});
        QTest::newRow("start when, before ssh")
            << group << ready + u" || exec /bin/sh -il; "_s + ssh.arg(remote(wait) + u" && b"_s);
    }

    void packed()
    {
        QFETCH(TabGroup, group);
        QFETCH(QString, expected);
        QCOMPARE(PackedCommandBuilder::effectiveCommand(group, u"/bin/sh"_s), expected);
    }

    void loginShellsRunWindowLines_data()
    {
        QTest::addColumn<QString>("shell");
        QTest::addColumn<bool>("remote");
        for (const char *shell : {"bash", "zsh", "dash", "fish"}) {
            QTest::addRow("%s plain", shell) << QString::fromUtf8(shell) << false;
            QTest::addRow("%s remote", shell) << QString::fromUtf8(shell) << true;
        }
    }

    // A whole window line in a real login shell with a private HOME: a wait for a port that
    // opens only once the first command has run (on ::1 only, as "localhost"), commands that
    // need every kind of quoting, and a wait that gives up and skips the rest. A stand-in for ssh
    // runs the remote part through `$SHELL -c` as sshd would, so quoting is checked by real shell
    // parsing; the loopback sshd does the same in tst_remotessh.
    void loginShellsRunWindowLines()
    {
        QFETCH(QString, shell);
        QFETCH(bool, remote);
        const QString program = QStandardPaths::findExecutable(shell);
        if (program.isEmpty())
            QSKIP("shell not installed (scripts/bootstrap.sh installs it)");
        QTemporaryDir dir;
        QFile ssh(dir.filePath(u"ssh"_s));
        QVERIFY(ssh.open(QIODevice::WriteOnly) &&
                ssh.write("#!/bin/sh\necho \"ssh $1 $2\"\nexec \"$SHELL\" -c \"$3\"\n") > 0 &&
                ssh.setPermissions(ssh.permissions() | QFileDevice::ExeOwner));
        ssh.close(); // else it is busy, not executable
        QTcpServer server;
        QVERIFY(server.listen(QHostAddress::LocalHostIPv6)); // only to learn a free port
        const quint16 port = server.serverPort();
        server.close();

        // fish has no backquotes; its users write (…).
        const QString tick = shell == u"fish" ? u"(echo tick)"_s : u"\"`echo tick`\""_s;
        QStringList commands{u"echo a"_s, u" "_s,
                             u"printf '%s\\n' \"it's \\\"q\\\" \\\\b\" '$HOME' "_s + tick,
                             u"echo c"_s, u"echo never"_s};
        QList<QJsonValue> waits{QJsonObject{{u"port"_s, port}}, QJsonValue::Undefined,
                                QJsonValue::Undefined,
                                QJsonObject{{u"file"_s, u"~/never"_s}, {u"timeout"_s, 0.5}}};
        QList<double> delays{0.5, 3, 0.25, 0, 9};
        if (remote) {
            // Login shells may reset PATH (Debian's /etc/profile does): name the stand-in's folder.
            commands.prepend(u"env PATH=%1:/usr/bin:/bin ssh box"_s.arg(dir.path()));
            waits.prepend(QJsonValue::Undefined);
            delays.prepend(0);
        }
        TabGroup group{QUuid::createUuid(), u"w"_s, steps(commands, delays, waits)};
        const QString line = PackedCommandBuilder::windowLine(
            PackedCommandBuilder::packed(group, program), program, {u"-x first"_s});

        QProcess process;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(u"SHELL"_s, program);
        env.insert(u"HOME"_s, dir.path()); // no profile of the developer's gets read
        env.insert(u"XDG_CONFIG_HOME"_s, dir.filePath(u"config"_s));
        env.insert(u"XDG_DATA_HOME"_s, dir.filePath(u"data"_s));
        env.remove(u"ENV"_s);
        process.setProcessEnvironment(env);
        process.setStandardInputFile(QProcess::nullDevice()); // the final shell ends at once
        process.start(program, {u"-ilc"_s, line});
        QByteArray out;
        QTRY_VERIFY_WITH_TIMEOUT((out += process.readAllStandardOutput()).contains("a\n"), 20000);
        QVERIFY(server.listen(QHostAddress::LocalHostIPv6, port));
        QVERIFY(process.waitForFinished(30000));
        out += process.readAllStandardOutput();
        const QByteArray err = process.readAllStandardError();
        const QByteArray tail = "it's \"q\" \\b\n$HOME\ntick\n";
        QCOMPARE(out, QByteArray(remote ? "-x first\nssh box -t\n" : "-x first\n") + "a\n" + tail +
                          "c\n");
        QVERIFY2(err.contains("Corvane: gave up waiting for file ~/never after 1 s\n"),
                 err.constData());
    }
};

QTEST_GUILESS_MAIN(TestPackedCommandBuilder)
#include "tst_packedcommandbuilder.moc"
