// The hand-over socket's own rules. The hand-over itself (run and edit, a refusal, two starts at
// once, a killed instance) is driven through the real binary in e2e/cli_e2e.py.
#include "SingleInstance.h"

#include <QDir>
#include <QLocalSocket>
#include <QTemporaryDir>
#include <QTest>

using namespace corvane;
using namespace corvane::instance;
using namespace Qt::StringLiterals;

class SingleInstanceTest final : public QObject {
    Q_OBJECT

    QTemporaryDir runtime;

private Q_SLOTS:
    void initTestCase()
    {
        // The socket lives in the runtime directory; keep it away from the user's own Corvane.
        qputenv("XDG_RUNTIME_DIR", QFile::encodeName(runtime.path()));
    }

    // A reason stays on its line; an instance that ends without a whole answer is not taken to
    // have answered.
    void replyLines()
    {
        QCOMPARE(decodeReply(encode(Reply{false, u"two\nlines"_s})), Reply(false, u"two lines"_s));
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
    // cut off at once (not only after the wait for a silent client), rather than buffered.
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
        const QStringList sockets = QDir(runtime.path()).entryList({u"corvane-*"_s}, QDir::System);
        QCOMPARE(sockets.size(), 1);
        const auto exchange = [&](const QByteArray &sent) {
            QLocalSocket socket;
            socket.connectToServer(runtime.filePath(sockets[0]));
            socket.write(sent);
            if (!QTest::qWaitFor([&] { return socket.state() == QLocalSocket::UnconnectedState; },
                                 2000))
                return QByteArray("still connected");
            return socket.readAll();
        };
        QCOMPARE(exchange("hello\n"), QByteArray("refused Unknown request.\n"));
        QCOMPARE(exchange(QByteArray(4096, 'x')), QByteArray());
        QVERIFY(!handled);
    }
};

QTEST_GUILESS_MAIN(SingleInstanceTest)
#include "tst_singleinstance.moc"
