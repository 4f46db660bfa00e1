// The remote form of a packed command, run by a local shell against a loopback sshd: every later
// command must reach the remote login shell with its exact text, in order.
#include "PackedCommandBuilder.h"
#include "TestHelpers.h"

#include <QDir>
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

    static bool run(const QString &program, const QStringList &arguments)
    {
        QProcess process;
        process.start(program, arguments);
        return process.waitForFinished(30000) && process.exitCode() == 0;
    }

private Q_SLOTS:
    void initTestCase()
    {
        if (::geteuid() != 0)
            QSKIP("A loopback sshd needs root");
        if (!QFile::exists(u"/usr/sbin/sshd"_s) ||
            QStandardPaths::findExecutable(u"ssh"_s).isEmpty())
            QSKIP("OpenSSH server and client are not installed");
        QVERIFY(run(u"mkdir"_s, {u"-p"_s, u"/run/sshd"_s}));
        for (const QString &key : {u"host_key"_s, u"client_key"_s})
            QVERIFY(run(u"ssh-keygen"_s, {u"-q"_s, u"-t"_s, u"ed25519"_s, u"-N"_s, QString(),
                                          u"-f"_s, dir.filePath(key)}));
        QVERIFY(QFile::copy(dir.filePath(u"client_key.pub"_s), dir.filePath(u"authorized_keys"_s)));

        QTcpServer probe; // a port that was free a moment ago; sshd says if it is taken after all
        QVERIFY(probe.listen(QHostAddress::LocalHost, 0));
        const quint16 port = probe.serverPort();
        probe.close();
        QFile config(dir.filePath(u"sshd_config"_s));
        QVERIFY(config.open(QIODevice::WriteOnly));
        config.write(
            u"ListenAddress 127.0.0.1\nPort %1\nHostKey %2\nAuthorizedKeysFile %3\nPidFile none\n"
            u"UsePAM no\nStrictModes no\nPasswordAuthentication no\n"_s.arg(port)
                .arg(dir.filePath(u"host_key"_s), dir.filePath(u"authorized_keys"_s))
                .toUtf8());
        config.close();
        sshd.setProcessChannelMode(QProcess::MergedChannels);
        sshd.start(u"/usr/sbin/sshd"_s,
                   {u"-D"_s, u"-e"_s, u"-f"_s, dir.filePath(u"sshd_config"_s)});
        QString log;
        QTRY_VERIFY2_WITH_TIMEOUT(
            (log += QString::fromUtf8(sshd.readAll())).contains(u"listening"_s) ||
                sshd.state() == QProcess::NotRunning,
            qPrintable(log), 20000);
        QVERIFY2(sshd.state() == QProcess::Running, qPrintable(log));

        // The packed command says plain "ssh 127.0.0.1"; the client options come from a wrapper.
        QVERIFY(QDir(dir.path()).mkdir(u"bin"_s));
        QVERIFY(writeExecutable(
            dir.filePath(u"bin/ssh"_s),
            u"#!/bin/sh\nexec '%1' -i '%2' -p %3 -o StrictHostKeyChecking=no -o LogLevel=ERROR "
            u"-o UserKnownHostsFile=/dev/null -o BatchMode=yes \"$@\"\n"_s
                .arg(QStandardPaths::findExecutable(u"ssh"_s), dir.filePath(u"client_key"_s))
                .arg(port)
                .toUtf8()));
    }

    void cleanupTestCase()
    {
        sshd.terminate();
        sshd.waitForFinished(5000);
    }

    void remoteCommandsRunInOrderWithTheirExactText()
    {
        const QString out = dir.filePath(u"remote-out"_s);
        const QString packed = PackedCommandBuilder::packed({
            step(u"ssh 127.0.0.1"_s, 3),
            step(u"echo \"double \\\"quoted\\\"\" > '%1'"_s.arg(out), 1),
            step(u"echo 'single  quoted' >> '%1'"_s.arg(out)),
            step(u"printf '%s\\n' 'back\\slash' \"it's\" 'a\\\\\"b' >> '%1'"_s.arg(out)),
            // Left unescaped on purpose: the remote login shell expands these one level early,
            // which gives the same result here.
            step(u"echo \"$((6 * 7)) `echo tick`\" >> '%1'"_s.arg(out)),
        });
        QVERIFY2(packed.startsWith(u"ssh 127.0.0.1 -t 'exec $SHELL -ilc \""_s), qPrintable(packed));

        QProcess shell;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"PATH"_s, dir.filePath(u"bin"_s) + u':' + environment.value(u"PATH"_s));
        shell.setProcessEnvironment(environment);
        shell.setStandardInputFile(QProcess::nullDevice());
        shell.start(u"/bin/sh"_s, {u"-c"_s, packed});
        QVERIFY(shell.waitForFinished(60000));
        QVERIFY2(shell.exitCode() == 0, shell.readAllStandardError().constData());
        QFile result(out);
        QVERIFY(result.open(QIODevice::ReadOnly));
        QCOMPARE(QString::fromUtf8(result.readAll()),
                 u"double \"quoted\"\nsingle  quoted\nback\\slash\nit's\na\\\\\"b\n42 tick\n"_s);
    }
};

QTEST_GUILESS_MAIN(RemoteSshTest)
#include "tst_remotessh.moc"
