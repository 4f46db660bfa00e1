#include "ConfigBuilders.h"
#include "PackedCommandBuilder.h"

#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>

#include <unistd.h>

using namespace corvane;
using namespace corvane::testing;
using namespace Qt::StringLiterals;

// The remote form of a packed command, run by a local shell against a loopback sshd: every later
// command must reach the remote login shell with its exact text, in order.
class RemoteSshTest final : public QObject {
    Q_OBJECT

private:
    QTemporaryDir dir;
    QProcess sshd;
    QString stderrSeen;

    bool run(const QString &program, const QStringList &arguments)
    {
        QProcess process;
        process.start(program, arguments);
        return process.waitForFinished(30000) && process.exitCode() == 0;
    }

    void writeExecutable(const QString &path, const QString &text)
    {
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(text.toUtf8());
        file.close();
        QVERIFY(file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
    }

private Q_SLOTS:
    void initTestCase()
    {
        if (::geteuid() != 0)
            QSKIP("A loopback sshd needs root (it switches to the logged-in user)");
        if (!QFile::exists(u"/usr/sbin/sshd"_s) ||
            QStandardPaths::findExecutable(u"ssh"_s).isEmpty() ||
            QStandardPaths::findExecutable(u"ssh-keygen"_s).isEmpty())
            QSKIP("OpenSSH server and client are not installed");

        QVERIFY(run(u"mkdir"_s, {u"-p"_s, u"/run/sshd"_s}));
        const QString hostKey = dir.filePath(u"host_key"_s);
        const QString clientKey = dir.filePath(u"client_key"_s);
        QVERIFY(run(u"ssh-keygen"_s,
                    {u"-q"_s, u"-t"_s, u"ed25519"_s, u"-N"_s, QString(), u"-f"_s, hostKey}));
        QVERIFY(run(u"ssh-keygen"_s,
                    {u"-q"_s, u"-t"_s, u"ed25519"_s, u"-N"_s, QString(), u"-f"_s, clientKey}));
        QVERIFY(QFile::copy(clientKey + u".pub"_s, dir.filePath(u"authorized_keys"_s)));

        // A port that was free a moment ago; sshd reports if it is taken after all.
        QTcpServer probe;
        QVERIFY(probe.listen(QHostAddress::LocalHost, 0));
        const quint16 port = probe.serverPort();
        probe.close();

        QFile config(dir.filePath(u"sshd_config"_s));
        QVERIFY(config.open(QIODevice::WriteOnly));
        config.write(
            u"ListenAddress 127.0.0.1\nPort %1\nHostKey %2\nAuthorizedKeysFile %3\n"
            u"PidFile %4\nUsePAM no\nStrictModes no\nPasswordAuthentication no\n"
            u"KbdInteractiveAuthentication no\nPermitRootLogin prohibit-password\n"_s.arg(port)
                .arg(hostKey, dir.filePath(u"authorized_keys"_s), dir.filePath(u"sshd.pid"_s))
                .toUtf8());
        config.close();

        sshd.start(u"/usr/sbin/sshd"_s, {u"-D"_s, u"-e"_s, u"-f"_s, config.fileName()});
        QVERIFY(sshd.waitForStarted());
        const auto listening = [this] {
            stderrSeen += QString::fromUtf8(sshd.readAllStandardError());
            return stderrSeen.contains(u"Server listening on 127.0.0.1"_s);
        };
        QTRY_VERIFY2_WITH_TIMEOUT(listening() || sshd.state() == QProcess::NotRunning,
                                  qPrintable(stderrSeen), 20000);
        QVERIFY2(sshd.state() == QProcess::Running, qPrintable(stderrSeen));

        // The packed command says plain "ssh host"; the client options come from a wrapper.
        QVERIFY(QDir(dir.path()).mkdir(u"bin"_s));
        writeExecutable(
            dir.filePath(u"bin/ssh"_s),
            u"#!/bin/sh\nexec '%1' -i '%2' -o StrictHostKeyChecking=no -o "
            u"UserKnownHostsFile=/dev/null -o BatchMode=yes -o LogLevel=ERROR -p %3 \"$@\"\n"_s
                .arg(QStandardPaths::findExecutable(u"ssh"_s), clientKey)
                .arg(port));
    }

    void cleanupTestCase()
    {
        if (sshd.state() != QProcess::NotRunning) {
            sshd.terminate();
            sshd.waitForFinished(5000);
        }
    }

    void remoteCommandsRunInOrderWithTheirExactText()
    {
        const QString out = dir.filePath(u"remote-out"_s);
        const QList<CommandStep> steps{
            step(u"ssh 127.0.0.1"_s, 3),
            step(u"echo \"double \\\"quoted\\\"\" > '%1'"_s.arg(out), 1),
            step(u"echo 'single  quoted' >> '%1'"_s.arg(out)),
            step(u"printf '%s\\n' 'back\\slash' \"it's\" 'a\\\\\"b' >> '%1'"_s.arg(out)),
            // Dollar signs and backquotes are deliberately left unescaped: the remote login shell
            // expands them one level early, which gives the same result for these.
            step(u"echo \"$((6 * 7)) `echo tick`\" >> '%1'"_s.arg(out)),
        };
        const QString packed = PackedCommandBuilder::packed(steps);
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
