// The hand-over socket's own rules. The hand-over itself (run and edit, a refusal, two starts at
// once, a killed instance) is driven through the real binary in e2e/cli_e2e.py.
#include "SingleInstance.h"

#include <QCryptographicHash>
#include <QDir>
#include <QLocalSocket>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace corvane;
using namespace corvane::instance;
using namespace Qt::StringLiterals;

namespace {

constexpr uid_t nobody = 65534;

QString socketName(const QString &scope)
{
    const QByteArray hash = QCryptographicHash::hash(scope.toUtf8(), QCryptographicHash::Sha256);
    return u"corvane-%1-%2"_s.arg(getuid()).arg(QString::fromLatin1(hash.toHex().left(16)));
}

// Run as root: listens as another user at each path given (a folder of that user's when it ends
// in '/'), and answers "ok" to whatever calls.
const QString stranger = uR"(
import os, select, socket, sys
user, paths = int(sys.argv[1]), sys.argv[2:]
servers = []
for path in paths:
    if not path.endswith('/'):
        servers.append(socket.socket(socket.AF_UNIX)); servers[-1].bind(path)
    else:
        os.makedirs(path)
    os.chown(path, user, user)
os.setuid(user)
for s in servers: s.listen()
print('listening', flush=True)
while True:
    for s in select.select(servers, [], [])[0]: s.accept()[0].sendall(b'ok\n')
)"_s;

} // namespace

class SingleInstanceTest final : public QObject {
    Q_OBJECT

    QTemporaryDir runtime;

    // Sends `sent` to the running instance of `scope` and gives its whole answer.
    QByteArray exchange(const QString &scope, const QByteArray &sent)
    {
        QLocalSocket socket;
        socket.connectToServer(runtime.filePath(socketName(scope)));
        if (!socket.waitForConnected(5000)) // the listen queue takes it without the event loop
            return "never connected";
        socket.write(sent);
        if (!QTest::qWaitFor([&] { return socket.state() == QLocalSocket::UnconnectedState; },
                             5000))
            return "still connected";
        return socket.readAll();
    }

private Q_SLOTS:
    void init()
    {
        // The socket lives in the runtime directory; keep it away from the user's own Corvane.
        QCOMPARE(chmod(QFile::encodeName(runtime.path()).constData(), 0700), 0);
        qputenv("XDG_RUNTIME_DIR", QFile::encodeName(runtime.path()));
        qunsetenv("TMPDIR");
    }

    // A reason stays on its line, and whatever answers never gets a control character onto the
    // terminal; an instance that ends without a whole answer is not taken to have answered.
    void replyLines()
    {
        QCOMPARE(decodeReply(encode(Reply{false, u"two\nlines"_s})), Reply(false, u"two lines"_s));
        QCOMPARE(decodeReply("refused \x1b]0;x\x07\x1b[2Ja\xe2\x80\xae"
                             "b\n"),
                 Reply(false, u"]0;x[2Jab"_s));
        for (const QByteArray &line : {QByteArray(), QByteArray("run\n"), QByteArray("refused")})
            QCOMPARE(decodeReply(line), std::nullopt);
    }

    // Anything but a request is refused without reaching the handler; a line that never ends is
    // cut off at once (not only after the wait for a silent client), rather than buffered. Only
    // so many are served at once: the rest are closed straight away.
    void strangersAreAnsweredAndDropped()
    {
        QTemporaryDir scope, other;
        SingleInstance running(scope.path());
        QCOMPARE(running.handOverOrClaim(Request::edit), std::nullopt); // nobody else: claimed
        // Each configuration folder has a Corvane of its own.
        QCOMPARE(SingleInstance(other.path()).handOver(Request::run), std::nullopt);
        bool handled = false;
        running.setHandler([&](Request, const SingleInstance::Answer &answer) {
            handled = true;
            answer({});
        });
        QCOMPARE(exchange(scope.path(), "hello\n"), QByteArray("refused Unknown request.\n"));
        QCOMPARE(exchange(scope.path(), QByteArray(4096, 'x')), QByteArray());
        QVERIFY(!handled);

        std::vector<std::unique_ptr<QLocalSocket>> silent(SingleInstance::mostConnections + 4);
        for (auto &socket : silent) {
            socket = std::make_unique<QLocalSocket>();
            socket->connectToServer(runtime.filePath(socketName(scope.path())));
        }
        const auto closed = [&] {
            return std::count_if(silent.begin(), silent.end(), [](const auto &socket) {
                return socket->state() == QLocalSocket::UnconnectedState;
            });
        };
        QVERIFY(QTest::qWaitFor([&] { return closed() >= 4; }));
        QCOMPARE(closed(), 4);
    }

    // The socket goes only into a folder of the user's own that nobody else can enter: a runtime
    // folder that is not one is passed over, and a private folder in the shared temporary folder
    // that someone else made first is refused, together with whatever listens there. What
    // listens in a folder of the user's own must be the same user too.
    void foreignSocketsAreRefused_data()
    {
        QTest::addColumn<int>("runtimeOwner"); // -1: no XDG_RUNTIME_DIR
        QTest::addColumn<int>("runtimeMode");
        QTest::newRow("runtime folder of another user") << int(nobody) << 0700;
        QTest::newRow("runtime folder open to the group") << 0 << 0770;
        QTest::newRow("no runtime folder") << -1 << 0;
        QTest::newRow("another user listens in the runtime folder") << 0 << 0700;
    }

    void foreignSocketsAreRefused()
    {
        QFETCH(int, runtimeOwner);
        QFETCH(int, runtimeMode);
        const bool usable = runtimeOwner == 0 && runtimeMode == 0700; // the user's own
        if (getuid() != 0)
            QSKIP("another user's folder needs root to make");
        QTemporaryDir shared, scope;
        QCOMPARE(chmod(QFile::encodeName(shared.path()).constData(), 01777), 0);
        qputenv("TMPDIR", QFile::encodeName(shared.path()));
        const QString name = socketName(scope.path());
        const QString own = shared.filePath(u"corvane-%1/"_s.arg(getuid()));
        const QString qtRuntime = shared.filePath(u"runtime-root/"_s);
        // Another user waits everywhere Corvane's socket could be: in the runtime folder, where
        // Qt would put its own runtime folder, in the shared folder and in the private one.
        QStringList places{QString::number(nobody), qtRuntime,  own,
                           shared.filePath(name),   own + name, qtRuntime + name};
        const QByteArray other = QFile::encodeName(shared.filePath(u"run"_s));
        if (runtimeOwner < 0) {
            qunsetenv("XDG_RUNTIME_DIR");
        } else {
            QVERIFY(QDir().mkdir(QFile::decodeName(other)));
            QCOMPARE(chmod(other.constData(), runtimeMode), 0);
            QCOMPARE(chown(other.constData(), runtimeOwner, runtimeOwner), 0);
            qputenv("XDG_RUNTIME_DIR", other);
            places += QFile::decodeName(other) + u'/' + name;
        }
        QProcess attacker;
        attacker.start(u"python3"_s, QStringList{u"-c"_s, stranger} + places);
        QVERIFY(attacker.waitForReadyRead(10000));

        // Had it believed any of them, their "ok" would be its reply.
        SingleInstance instance(scope.path());
        const auto reply = instance.handOverOrClaim(Request::edit);
        if (usable) {
            QVERIFY(reply && !reply->ok);
            QVERIFY(reply->reason.startsWith(u"Something that is not your Corvane"_s));
        } else {
            QCOMPARE(reply, std::nullopt);
            QVERIFY(instance.problem().value_or(QString()).contains(own.chopped(1)));
        }
    }

    // A flood of requests while the process is short of file descriptors: those it cannot take
    // are closed at once rather than left queued (the ones it took are still waiting for their
    // answers), and it goes on answering, its socket where later starts look for it.
    void keepsListeningWithoutDescriptors()
    {
        QTemporaryDir scope;
        SingleInstance running(scope.path());
        QCOMPARE(running.handOverOrClaim(Request::edit), std::nullopt);
        QList<SingleInstance::Answer> unanswered;
        running.setHandler(
            [&](Request, const SingleInstance::Answer &answer) { unanswered.append(answer); });
        // Asks many times and counts the connections closed without an answer.
        QProcess flood;
        flood.start(u"python3"_s, {u"-c"_s, uR"(
import select, socket, sys
asked = []
for _ in range(60):
    s = socket.socket(socket.AF_UNIX); s.settimeout(10)
    try: s.connect(sys.argv[1]); s.sendall(b'edit\n'); asked.append(s)
    except OSError: s.close()
dropped, _, _ = select.select(asked, [], [], 30)
print(len(dropped), flush=True)
)"_s,
                                   runtime.filePath(socketName(scope.path()))});
        QVERIFY(flood.waitForStarted());
        rlimit limits{};
        QCOMPARE(getrlimit(RLIMIT_NOFILE, &limits), 0);
        rlimit few = limits;
        few.rlim_cur = QDir(u"/proc/self/fd"_s).count() + 4;
        QCOMPARE(setrlimit(RLIMIT_NOFILE, &few), 0);
        QVERIFY(QTest::qWaitFor([&] { return flood.state() == QProcess::NotRunning; }, 60000));
        QCOMPARE(setrlimit(RLIMIT_NOFILE, &limits), 0);
        QVERIFY(flood.readAll().toInt() > 0);
        QVERIFY(!unanswered.isEmpty());
        running.setHandler([](Request, const SingleInstance::Answer &answer) { answer({}); });
        QCOMPARE(exchange(scope.path(), "edit\n"), QByteArray("ok\n"));
    }
};

QTEST_GUILESS_MAIN(SingleInstanceTest)
#include "tst_singleinstance.moc"
