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

// Runs python3 as `user` (root when empty) with `script` and its arguments.
std::unique_ptr<QProcess> python(const QString &user, const QString &script,
                                 const QStringList &arguments)
{
    auto process = std::make_unique<QProcess>();
    const QStringList asUser{u"-u"_s, user, u"--"_s, u"python3"_s};
    process->start(user.isEmpty() ? u"python3"_s : u"runuser"_s,
                   (user.isEmpty() ? QStringList() : asUser) + QStringList{u"-c"_s, script} +
                       arguments);
    return process;
}

QString socketName(const QString &scope)
{
    const QByteArray hash = QCryptographicHash::hash(scope.toUtf8(), QCryptographicHash::Sha256);
    return u"corvane-%1-%2"_s.arg(getuid()).arg(QString::fromLatin1(hash.toHex().left(16)));
}

// Listens at each path given (made first when it is a folder ending in '/'), then answers one
// request: the reply a program of another user would like printed on the user's terminal.
constexpr auto listener = R"(
import os, socket, sys
user, paths = int(sys.argv[1]), sys.argv[2:]
servers = []
for path in paths:
    if path.endswith('/'):
        os.makedirs(path, 0o777, exist_ok=True); continue
    s = socket.socket(socket.AF_UNIX); s.bind(path); os.chmod(path, 0o777); servers.append(s)
if user: os.setuid(user)
for s in servers: s.listen()
print('listening', flush=True)
import select
ready, _, _ = select.select(servers, [], [])
c, _ = ready[0].accept(); c.recv(100); c.sendall(b'refused \x1b]0;owned\x07\x1b[2Jowned\n')
print('answered', flush=True)
)";

} // namespace

class SingleInstanceTest final : public QObject {
    Q_OBJECT

    QTemporaryDir runtime;

    // Sends `sent` to the running instance of `scope` and gives its whole answer.
    QByteArray exchange(const QString &scope, const QByteArray &sent)
    {
        QLocalSocket socket;
        socket.connectToServer(runtime.filePath(socketName(scope)));
        if (!QTest::qWaitFor([&] { return socket.state() != QLocalSocket::ConnectingState; }, 5000))
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

    // Each configuration folder has a Corvane of its own.
    void foldersAreKeptApart()
    {
        QTemporaryDir scope, other;
        SingleInstance running(scope.path());
        QCOMPARE(running.handOverOrClaim(Request::edit), std::nullopt); // nobody else: claimed
        QCOMPARE(SingleInstance(other.path()).handOver(Request::run), std::nullopt);
    }

    // Anything but a request is refused without reaching the handler; a line that never ends is
    // cut off at once (not only after the wait for a silent client), rather than buffered. Only
    // so many are served at once: the rest are closed straight away.
    void strangersAreAnsweredAndDropped()
    {
        QTemporaryDir scope;
        SingleInstance running(scope.path());
        QCOMPARE(running.handOverOrClaim(Request::edit), std::nullopt);
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
    // that someone else made first is refused, together with whatever listens there.
    void foreignFoldersAreRefused_data()
    {
        QTest::addColumn<QString>("runtimeOwner"); // empty: no XDG_RUNTIME_DIR
        QTest::addColumn<int>("runtimeMode");
        QTest::newRow("runtime folder of another user") << u"nobody"_s << 0700;
        QTest::newRow("runtime folder open to the group") << u"root"_s << 0770;
        QTest::newRow("no runtime folder") << QString() << 0;
    }

    void foreignFoldersAreRefused()
    {
        QFETCH(QString, runtimeOwner);
        QFETCH(int, runtimeMode);
        if (getuid() != 0)
            QSKIP("another user's folder needs root to make");
        QTemporaryDir shared, scope;
        QCOMPARE(chmod(QFile::encodeName(shared.path()).constData(), 01777), 0);
        qputenv("TMPDIR", QFile::encodeName(shared.path()));
        const QString other = shared.filePath(u"run"_s);
        if (runtimeOwner.isEmpty()) {
            qunsetenv("XDG_RUNTIME_DIR");
        } else {
            QVERIFY(QDir().mkdir(other));
            QCOMPARE(chmod(QFile::encodeName(other).constData(), runtimeMode), 0);
            QCOMPARE(QProcess::execute(u"chown"_s, {runtimeOwner, other}), 0);
            qputenv("XDG_RUNTIME_DIR", QFile::encodeName(other));
        }
        // Another user waits everywhere Corvane's socket could be: in the runtime folder, where
        // Qt would put its own runtime folder, in the shared folder and in the private one.
        const QString name = socketName(scope.path());
        const QString own = shared.filePath(u"corvane-%1/"_s.arg(getuid()));
        QStringList places{u"0"_s,     shared.filePath(u"runtime-root/"_s),
                           own,        shared.filePath(name),
                           own + name, shared.filePath(u"runtime-root/"_s) + name};
        if (runtimeOwner == u"nobody"_s)
            places += other + u'/' + name;
        const auto attacker = python(u"nobody"_s, QString::fromUtf8(listener), places);
        QVERIFY(attacker->waitForReadyRead(10000));

        SingleInstance instance(scope.path());
        QCOMPARE(instance.handOverOrClaim(Request::edit), std::nullopt);
        attacker->waitForReadyRead(500);
        QCOMPARE(attacker->readAll(), QByteArray("listening\n")); // nobody called on them
        QVERIFY(instance.problem().value_or(QString()).contains(own.chopped(1)));
    }

    // The other end must be the same user, even where only the user could have put a socket.
    void anotherUsersListenerIsNotBelieved()
    {
        if (getuid() != 0)
            QSKIP("listening as another user needs root");
        QTemporaryDir scope;
        const auto stranger = python({}, QString::fromUtf8(listener),
                                     {u"65534"_s, runtime.filePath(socketName(scope.path()))});
        QVERIFY(stranger->waitForReadyRead(10000));
        const auto reply = SingleInstance(scope.path()).handOver(Request::edit);
        QVERIFY(reply && !reply->ok && reply->reason.startsWith(u"Something that is not your"_s));
    }

    // A flood of connections while the process is short of file descriptors: it goes on
    // listening and answering, and its socket stays where later starts look for it.
    void keepsListeningWithoutDescriptors()
    {
        QTemporaryDir scope;
        SingleInstance running(scope.path());
        QCOMPARE(running.handOverOrClaim(Request::edit), std::nullopt);
        running.setHandler([](Request, const SingleInstance::Answer &answer) { answer({}); });
        // Connects many times and says nothing, so that each connection the instance takes holds
        // a descriptor; once the instance has dropped some, lets go of them all.
        const auto flood = python({}, uR"(
import select, socket, sys
held = []
for _ in range(60):
    s = socket.socket(socket.AF_UNIX); s.settimeout(10)
    try: s.connect(sys.argv[1]); held.append(s)
    except OSError: s.close()
dropped, _, _ = select.select(held, [], [], 30)
print(len(dropped), flush=True)
)"_s,
                                  {runtime.filePath(socketName(scope.path()))});
        QVERIFY(flood->waitForStarted());
        rlimit limits{};
        QCOMPARE(getrlimit(RLIMIT_NOFILE, &limits), 0);
        rlimit few = limits;
        few.rlim_cur = QDir(u"/proc/self/fd"_s).count() + 4;
        QCOMPARE(setrlimit(RLIMIT_NOFILE, &few), 0);
        QVERIFY(QTest::qWaitFor([&] { return flood->state() == QProcess::NotRunning; }, 60000));
        QCOMPARE(setrlimit(RLIMIT_NOFILE, &limits), 0);
        QVERIFY(flood->readAll().toInt() > 0);
        QVERIFY(QFileInfo::exists(runtime.filePath(socketName(scope.path()))));
        QCOMPARE(exchange(scope.path(), "edit\n"), QByteArray("ok\n"));
    }
};

QTEST_GUILESS_MAIN(SingleInstanceTest)
#include "tst_singleinstance.moc"
