#include "SingleInstance.h"

#include <QCryptographicHash>
#include <QDir>
#include <QLocalSocket>
#include <QStandardPaths>

#include <unistd.h>

namespace corvane {

namespace {

constexpr int connectTimeoutMs = 1000;

QString socketName(const QString &scope)
{
    const QByteArray hash =
        QCryptographicHash::hash(scope.toUtf8(), QCryptographicHash::Sha256).toHex().left(16);
    const QString file =
        QStringLiteral("corvane-%1-%2").arg(::getuid()).arg(QString::fromLatin1(hash));
    // The runtime directory is private to the user; elsewhere the uid in the name keeps users
    // apart.
    const QString runtime = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    return runtime.isEmpty() ? file : QDir(runtime).filePath(file);
}

} // namespace

SingleInstance::SingleInstance(const QString &scope, QObject *parent)
    : QObject(parent), m_name(socketName(scope))
{
    connect(&m_server, &QLocalServer::newConnection, this, [this] {
        while (QLocalSocket *socket = m_server.nextPendingConnection()) {
            socket->disconnectFromServer();
            socket->deleteLater();
            Q_EMIT activationRequested();
        }
    });
}

bool SingleInstance::claim()
{
    QLocalSocket socket;
    socket.connectToServer(m_name);
    if (socket.waitForConnected(connectTimeoutMs)) {
        // Connecting is the whole request; wait for the other side to take it.
        socket.waitForDisconnected(connectTimeoutMs);
        return false;
    }
    // Nobody answers: a socket file left by a crashed instance would make listen() fail.
    QLocalServer::removeServer(m_name);
    m_server.setSocketOptions(QLocalServer::UserAccessOption);
    m_server.listen(m_name);
    return true;
}

} // namespace corvane
