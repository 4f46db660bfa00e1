#include "SingleInstance.h"

#include <QCryptographicHash>
#include <QDir>
#include <QLocalSocket>
#include <QLockFile>
#include <QStandardPaths>
#include <QTimer>

#include <unistd.h>

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

constexpr int connectTimeoutMs = 1000;
// The running Corvane answers before it starts anything, so only a hung one takes this long.
constexpr int replyTimeoutMs = 10000;
// A client that connects and says nothing is dropped after this.
constexpr int requestTimeoutMs = 5000;
constexpr int lockTimeoutMs = 5000;

// The runtime directory is private to the user; elsewhere the uid in the name keeps users apart.
QString runtimeDirectory()
{
    const QString runtime = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    return runtime.isEmpty() ? QDir::tempPath() : runtime;
}

QString baseName(const QString &scope)
{
    const QByteArray hash =
        QCryptographicHash::hash(scope.toUtf8(), QCryptographicHash::Sha256).toHex().left(16);
    return u"corvane-%1-%2"_s.arg(::getuid()).arg(QString::fromLatin1(hash));
}

} // namespace

SingleInstance::SingleInstance(const QString &scope, QObject *parent)
    : QObject(parent), m_name(QDir(runtimeDirectory()).filePath(baseName(scope))),
      m_lockPath(m_name + u".lock"_s)
{
    connect(&m_server, &QLocalServer::newConnection, this, [this] {
        while (QLocalSocket *socket = m_server.nextPendingConnection())
            serve(socket);
    });
}

std::optional<instance::Reply> SingleInstance::handOver(instance::Request request)
{
    QLocalSocket socket;
    socket.connectToServer(m_name);
    if (!socket.waitForConnected(connectTimeoutMs))
        return std::nullopt;
    socket.write(instance::encode(request));
    socket.waitForBytesWritten(connectTimeoutMs);
    while (!socket.canReadLine() && socket.bytesAvailable() < instance::longestLine &&
           socket.waitForReadyRead(replyTimeoutMs)) {
    }
    const auto reply = instance::decodeReply(socket.readLine(instance::longestLine));
    return reply ? *reply : instance::Reply{false, u"The running Corvane did not answer."_s};
}

std::optional<instance::Reply> SingleInstance::handOverOrClaim(instance::Request request)
{
    // Held from the look to the listen: two starts at once must not both find nobody, and the
    // second must not delete the first one's fresh socket. QLockFile takes over the lock of a
    // process that died holding it.
    QLockFile lock(m_lockPath);
    lock.tryLock(lockTimeoutMs); // without it, going on is still the best there is
    if (auto reply = handOver(request))
        return reply;
    // Nobody answers: a socket file left by a killed instance would make listen() fail.
    QLocalServer::removeServer(m_name);
    m_server.setSocketOptions(QLocalServer::UserAccessOption);
    m_server.listen(m_name);
    return std::nullopt;
}

void SingleInstance::setHandler(Handler handler)
{
    m_handler = std::move(handler);
}

void SingleInstance::serve(QLocalSocket *socket)
{
    socket->setParent(this);
    connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
    QTimer::singleShot(requestTimeoutMs, socket, &QLocalSocket::abort);
    connect(socket, &QLocalSocket::readyRead, socket, [this, socket] {
        if (!socket->canReadLine()) {
            if (socket->bytesAvailable() >= instance::longestLine)
                socket->abort();
            return;
        }
        const auto request = instance::decodeRequest(socket->readLine(instance::longestLine));
        // Answered at most once per connection; the rest of the line is ignored.
        disconnect(socket, &QLocalSocket::readyRead, socket, nullptr);
        const Answer answer = [socket](const instance::Reply &reply) {
            socket->write(instance::encode(reply));
            socket->flush();
            socket->disconnectFromServer();
        };
        if (!request || !m_handler) {
            answer({false, u"Unknown request."_s});
            return;
        }
        m_handler(*request, answer);
    });
}

} // namespace corvane
