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

    // Every line is read back as what it was sent as; anything else is neither.
    void protocolLines()
    {
        for (Request request : {Request::run, Request::edit})
            QCOMPARE(decodeRequest(encode(request)), request);
        for (const Reply &reply : {Reply{}, Reply{false, u"Add some in Edit Commands…"_s}})
            QCOMPARE(decodeReply(encode(reply)), reply);
        QCOMPARE(encode(Reply{false, u"two\nlines"_s}), QByteArray("refused two lines\n"));
        for (const QByteArray &line : {QByteArray(" run\n"), QByteArray("\n"), QByteArray("ok\n")})
            QCOMPARE(decodeRequest(line), std::nullopt);
        for (const QByteArray &line : {QByteArray(), QByteArray("run\n"), QByteArray("refused")})
            QCOMPARE(decodeReply(line), std::nullopt);
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
