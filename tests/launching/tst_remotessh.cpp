// The remote form of a packed command, run by a local shell against a loopback sshd as a throwaway
// user with a clean home (no rc file of whoever runs the tests is read): every later command must
// reach the remote login shell with its exact text, in order, and a wait must run there.
#include "PackedCommandBuilder.h"
#include "TestHelpers.h"

#include <QDir>
#include <QJsonObject>
#include <QProcess>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>

#include <unistd.h>

using namespace corvane;
using namespace corvane::testing;
using namespace Qt::StringLiterals;

class RemoteSshTest final : public QObject {
    Q_OBJECT

    QTemporaryDir dir;
    QProcess sshd;
    const QString user = u"corvane-ssh-%1"_s.arg(::getpid());
    const QString home = u"/tmp/"_s + user; // outside dir, which only root may enter
    QString ssh;                            // reaches the throwaway user

private Q_SLOTS:
    void initTestCase()
    {
        if (::geteuid() != 0)
            QSKIP("A loopback sshd needs root");
        if (!QFile::exists(u"/usr/sbin/sshd"_s) ||
            QStandardPaths::findExecutable(u"ssh"_s).isEmpty())
            QSKIP("OpenSSH server and client are not installed");
        QVERIFY(QDir().mkpath(u"/run/sshd"_s));
        QVERIFY(!QProcess::execute(u"useradd"_s, {u"-m"_s, u"-k"_s, u"/dev/null"_s, u"-d"_s, home,
                                                  u"-s"_s, u"/bin/bash"_s, user}));
        for (const QString &key : {u"host_key"_s, u"client_key"_s})
            QVERIFY(!QProcess::execute(u"ssh-keygen"_s, {u"-q"_s, u"-t"_s, u"ed25519"_s, u"-N"_s,
                                                         QString(), u"-f"_s, dir.filePath(key)}));
        // Read by sshd as the user, from its own home; a password of "*" keeps the account usable
        // by key (a locked one is refused).
        const QString keys = home + u"/authorized_keys"_s;
        QVERIFY(QFile::copy(dir.filePath(u"client_key.pub"_s), keys));
        QVERIFY(!QProcess::execute(u"chown"_s, {user, keys}));
        QVERIFY(!QProcess::execute(u"usermod"_s, {u"-p"_s, u"*"_s, user}));

        QTcpServer probe; // a port that was free a moment ago; sshd says if it is taken after all
        QVERIFY(probe.listen(QHostAddress::LocalHost, 0));
        const quint16 port = probe.serverPort();
        probe.close();
        QStringList options{u"-D"_s, u"-e"_s,
                            u"-f"_s, u"/dev/null"_s,
                            u"-p"_s, QString::number(port),
                            u"-h"_s, dir.filePath(u"host_key"_s)};
        for (const QString &option :
             {u"ListenAddress=127.0.0.1"_s, u"AuthorizedKeysFile="_s + keys, u"PidFile=none"_s,
              u"UsePAM=no"_s, u"StrictModes=no"_s, u"PasswordAuthentication=no"_s})
            options << u"-o"_s << option;
        sshd.setProcessChannelMode(QProcess::MergedChannels);
        sshd.start(u"/usr/sbin/sshd"_s, options);
        QString log;
        QTRY_VERIFY2_WITH_TIMEOUT(
            (log += QString::fromUtf8(sshd.readAll())).contains(u"listening"_s) ||
                sshd.state() == QProcess::NotRunning,
            qPrintable(log), 20000);
        QVERIFY2(sshd.state() == QProcess::Running, qPrintable(log));

        // The client's options go before the host, as a user's own would.
        ssh = u"ssh -i %1 -p %2 -l %3 -o StrictHostKeyChecking=no -o LogLevel=ERROR "
              u"-o UserKnownHostsFile=/dev/null -o BatchMode=yes 127.0.0.1"_s
                  .arg(PackedCommandBuilder::shellQuoted(dir.filePath(u"client_key"_s)))
                  .arg(port)
                  .arg(user);
    }

    void cleanupTestCase()
    {
        sshd.terminate();
        sshd.waitForFinished(5000);
        if (::geteuid() == 0) {
            QProcess::execute(u"userdel"_s, {u"-r"_s, u"-f"_s, user});
            QVERIFY(!QFile::exists(home));
        }
    }

    // The wait holds the later commands until its port opens; a remote variable expands on the
    // far side, as the throwaway user's; nested quotes, backslashes and substitutions arrive as
    // written (the quoting itself is tst_packedcommandbuilder's).
    void remoteCommandsRunInOrderWithTheirExactText()
    {
        const QString out = home + u"/out"_s;
        QTcpServer server; // learns a free port, opened for real only once the session stands
        QVERIFY(server.listen(QHostAddress::LocalHost));
        const quint16 port = server.serverPort();
        server.close();
        QList<CommandStep> steps{
            step(ssh, 3),
            step(u"echo started"_s, 1),
            step(u"echo \"say \\\"it's\\\"\" '$USER' \"$USER\" 'a\\b' > ~/out"_s),
            step(u"echo \"$((6 * 7)) `echo tick`\" >> ~/out"_s),
        };
        steps[1].waitFor = QJsonObject{{u"port"_s, port}};

        QProcess shell;
        shell.setStandardInputFile(QProcess::nullDevice());
        shell.start(u"/bin/sh"_s, {u"-c"_s, PackedCommandBuilder::packed(steps)});
        QByteArray seen;
        QTRY_VERIFY_WITH_TIMEOUT((seen += shell.readAllStandardOutput()).contains("started") ||
                                     shell.state() == QProcess::NotRunning,
                                 60000);
        QVERIFY2(seen.contains("started"), shell.readAllStandardError().constData());
        QVERIFY(!QFile::exists(out)); // held by the wait
        QVERIFY(server.listen(QHostAddress::LocalHost, port));
        QVERIFY(shell.waitForFinished(60000));
        QVERIFY2(shell.exitCode() == 0, shell.readAllStandardError().constData());
        QCOMPARE(QString::fromUtf8(readAll(out)),
                 u"say \"it's\" $USER %1 a\\b\n42 tick\n"_s.arg(user));
    }
};

QTEST_GUILESS_MAIN(RemoteSshTest)
#include "tst_remotessh.moc"
