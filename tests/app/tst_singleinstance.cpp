// The hand-over between two starts: the line protocol, and a later start's request reaching the
// running instance's handler and its reply coming back.
#include "SingleInstance.h"

#include <QLocalSocket>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

using namespace corvane;
using namespace corvane::instance;
using namespace Qt::StringLiterals;

Q_DECLARE_METATYPE(std::optional<corvane::instance::Request>)
Q_DECLARE_METATYPE(std::optional<corvane::instance::Reply>)

namespace {

// Runs `work` on a thread of its own while this thread's event loop serves the instance.
template <typename Work> auto fromAnotherStart(Work work)
{
    decltype(work()) result{};
    std::unique_ptr<QThread> thread(QThread::create([&] { result = work(); }));
    thread->start();
    if (!QTest::qWaitFor([&] { return thread->isFinished(); }, 20000))
        qFatal("the other start never finished");
    return result;
}

} // namespace

class SingleInstanceTest final : public QObject {
    Q_OBJECT

    QTemporaryDir runtime;

private Q_SLOTS:
    void initTestCase()
    {
        // The socket lives in the runtime directory; keep it away from the user's own Corvane.
        qputenv("XDG_RUNTIME_DIR", QFile::encodeName(runtime.path()));
    }

    void decodeRequests_data()
    {
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<std::optional<Request>>("request");
        QTest::newRow("run") << QByteArray("run\n") << std::optional(Request::run);
        QTest::newRow("edit, no line feed") << QByteArray("edit") << std::optional(Request::edit);
        QTest::newRow("padded") << QByteArray(" run\n") << std::optional<Request>();
        QTest::newRow("empty") << QByteArray("\n") << std::optional<Request>();
        QTest::newRow("reply") << QByteArray("ok\n") << std::optional<Request>();
    }

    void decodeRequests()
    {
        QFETCH(QByteArray, line);
        QFETCH(std::optional<Request>, request);
        QCOMPARE(decodeRequest(line), request);
        if (request)
            QCOMPARE(decodeRequest(encode(*request)), request);
    }

    void decodeReplies_data()
    {
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<std::optional<Reply>>("reply");
        QTest::newRow("ok") << QByteArray("ok\n") << std::optional(Reply{});
        QTest::newRow("refused") << QByteArray("refused A run is already under way.\n")
                                 << std::optional(Reply{false, u"A run is already under way."_s});
        QTest::newRow("refused, UTF-8")
            << QByteArray("refused Add some in Edit Commands…")
            << std::optional(Reply{false, u"Add some in Edit Commands…"_s});
        QTest::newRow("nothing") << QByteArray() << std::optional<Reply>();
        QTest::newRow("request") << QByteArray("run\n") << std::optional<Reply>();
    }

    void decodeReplies()
    {
        QFETCH(QByteArray, line);
        QFETCH(std::optional<Reply>, reply);
        QCOMPARE(decodeReply(line), reply);
        if (reply)
            QCOMPARE(decodeReply(encode(*reply)), reply);
    }

    void aReasonStaysOnItsLine()
    {
        QCOMPARE(encode(Reply{false, u"two\nlines"_s}), QByteArray("refused two lines\n"));
    }

    void laterStartsReachTheRunningOne()
    {
        QTemporaryDir scope;
        SingleInstance running(scope.path());
        QCOMPARE(running.handOverOrClaim(Request::edit), std::nullopt); // nobody else: claimed
        QList<Request> received;
        running.setHandler([&](Request request, const SingleInstance::Answer &answer) {
            received.append(request);
            answer(request == Request::run ? Reply{false, u"busy"_s} : Reply{});
        });

        const auto later = [&](Request request) {
            return fromAnotherStart([&] {
                SingleInstance instance(scope.path());
                return instance.handOverOrClaim(request);
            });
        };
        QCOMPARE(later(Request::edit), std::optional(Reply{}));
        QCOMPARE(later(Request::run), std::optional(Reply{false, u"busy"_s}));
        QCOMPARE(received, (QList<Request>{Request::edit, Request::run}));

        // Another configuration folder has an instance of its own.
        QTemporaryDir other;
        QCOMPARE(
            fromAnotherStart([&] { return SingleInstance(other.path()).handOver(Request::run); }),
            std::nullopt);
    }

    void strangersAreAnsweredAndDropped()
    {
        QTemporaryDir scope;
        SingleInstance running(scope.path());
        QVERIFY(!running.handOverOrClaim(Request::edit));
        bool handled = false;
        running.setHandler([&](Request, const SingleInstance::Answer &answer) {
            handled = true;
            answer({});
        });
        const QString path = runtime.path();
        const auto exchange = [&](const QByteArray &sent) {
            return fromAnotherStart([&] {
                QLocalSocket socket;
                const QStringList names = QDir(path).entryList({u"corvane-*"_s}, QDir::System);
                for (const QString &name : names) {
                    if (!name.endsWith(u".lock"))
                        socket.connectToServer(QDir(path).filePath(name));
                }
                if (!socket.waitForConnected(1000))
                    return QByteArray("not connected");
                socket.write(sent);
                socket.waitForBytesWritten(1000);
                while (socket.state() == QLocalSocket::ConnectedState &&
                       socket.waitForReadyRead(2000)) {
                }
                return socket.readAll();
            });
        };
        QCOMPARE(exchange("hello\n"), QByteArray("refused Unknown request.\n"));
        // A line that never ends is cut off rather than buffered for ever.
        QCOMPARE(exchange(QByteArray(4096, 'x')), QByteArray());
        QVERIFY(!handled);
    }
};

QTEST_GUILESS_MAIN(SingleInstanceTest)
#include "tst_singleinstance.moc"
