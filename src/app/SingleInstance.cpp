#include "SingleInstance.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QLocalSocket>
#include <QLockFile>
#include <QPointer>
#include <QSocketNotifier>
#include <QTimer>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

constexpr int connectTimeoutMs = 1000;
// The running Corvane answers before it starts anything, so only a hung one takes this long.
// A run that is waited for is waited for as long as the connection lasts.
constexpr int replyTimeoutMs = 10000;
// A client that connects and says nothing is dropped after this.
constexpr int requestTimeoutMs = 5000;
constexpr int lockTimeoutMs = 5000;
// After running out of file descriptors with none to spare, listening resumes after this.
constexpr int descriptorPauseMs = 100;

// Entered by this user only: anyone else who could create or replace the socket there could
// take the requests and answer in Corvane's name.
bool isPrivateFolder(const QString &path)
{
    struct stat status {};
    return ::lstat(QFile::encodeName(path).constData(), &status) == 0 && S_ISDIR(status.st_mode) &&
           status.st_uid == ::getuid() && (status.st_mode & (S_IRWXG | S_IRWXO)) == 0;
}

// The runtime folder when it is private, else corvane-<uid> in the temporary folder, made
// private if it is missing; an existing one that is not private is refused, not repaired.
std::pair<QString, QString> socketFolder()
{
    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (runtime.startsWith(u'/') && isPrivateFolder(runtime))
        return {runtime, {}};
    const QString own = QDir(QDir::tempPath()).filePath(u"corvane-%1"_s.arg(::getuid()));
    ::mkdir(QFile::encodeName(own).constData(), S_IRWXU);
    if (isPrivateFolder(own))
        return {own, {}};
    return {{},
            u"%1 is not a folder that only you can use, so Corvane cannot keep to a single "
            u"instance safely. Remove it or set XDG_RUNTIME_DIR."_s.arg(own)};
}

// The user id at the other end of a connected local socket.
std::optional<uid_t> peerUser(qintptr descriptor)
{
    const int fd = static_cast<int>(descriptor);
#ifdef SO_PEERCRED
    ucred credentials{};
    socklen_t length = sizeof credentials;
    if (::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &credentials, &length) != 0)
        return std::nullopt;
    return credentials.uid;
#else
    uid_t user = 0;
    gid_t group = 0;
    if (::getpeereid(fd, &user, &group) != 0)
        return std::nullopt;
    return user;
#endif
}

bool isOwnUser(qintptr descriptor)
{
    return peerUser(descriptor) == ::getuid();
}

void closeOnExec(int fd)
{
    ::fcntl(fd, F_SETFD, FD_CLOEXEC);
}

QString baseName(const QString &scope)
{
    const QByteArray hash =
        QCryptographicHash::hash(scope.toUtf8(), QCryptographicHash::Sha256).toHex().left(16);
    return u"corvane-%1-%2"_s.arg(::getuid()).arg(QString::fromLatin1(hash));
}

} // namespace

SingleInstance::SingleInstance(const QString &scope, QObject *parent) : QObject(parent)
{
    const auto [folder, problem] = socketFolder();
    if (folder.isEmpty()) {
        m_problem = problem;
        return;
    }
    m_name = QDir(folder).filePath(baseName(scope));
    m_lockPath = m_name + u".lock"_s;
}

SingleInstance::~SingleInstance()
{
    if (m_listener < 0)
        return;
    delete m_notifier;
    // The socket goes with the instance, unless a later one has already put its own there.
    struct stat bound {
    }, now{};
    const QByteArray path = QFile::encodeName(m_name);
    const bool ours = ::fstat(m_listener, &bound) == 0 && ::stat(path.constData(), &now) == 0 &&
                      bound.st_ino == now.st_ino && bound.st_dev == now.st_dev;
    ::close(m_listener);
    if (ours)
        ::unlink(path.constData());
    if (m_spare >= 0)
        ::close(m_spare);
}

std::optional<instance::Reply> SingleInstance::handOver(instance::Request request)
{
    if (m_problem)
        return std::nullopt;
    QLocalSocket socket;
    socket.connectToServer(m_name);
    if (!socket.waitForConnected(connectTimeoutMs))
        return std::nullopt;
    if (!isOwnUser(socket.socketDescriptor()))
        return instance::Reply{false,
                               u"Something that is not your Corvane listens at %1."_s.arg(m_name)};
    socket.write(instance::encode(request));
    socket.waitForBytesWritten(connectTimeoutMs);
    const int timeout = request == instance::Request::run ? -1 : replyTimeoutMs;
    while (!socket.canReadLine() && socket.bytesAvailable() < instance::longestLine &&
           socket.waitForReadyRead(timeout)) {
    }
    const auto reply = instance::decodeReply(socket.readLine(instance::longestLine));
    return reply ? *reply : instance::Reply{false, u"The running Corvane did not answer."_s};
}

std::optional<instance::Reply> SingleInstance::handOverOrClaim(instance::Request request)
{
    if (m_problem)
        return std::nullopt;
    // Held from the look to the listen: two starts at once must not both find nobody, and the
    // second must not delete the first one's fresh socket. QLockFile takes over the lock of a
    // process that died holding it.
    QLockFile lock(m_lockPath);
    lock.tryLock(lockTimeoutMs); // without it, going on is still the best there is
    if (auto reply = handOver(request))
        return reply;
    listen();
    return std::nullopt;
}

void SingleInstance::listen()
{
    const QByteArray path = QFile::encodeName(m_name);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (static_cast<std::size_t>(path.size()) >= sizeof address.sun_path)
        return;
    std::memcpy(address.sun_path, path.constData(), static_cast<std::size_t>(path.size()));
    const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
    if (fd < 0)
        return;
    closeOnExec(fd);
    ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_NONBLOCK);
    // Nobody answered: a socket file left by a killed instance would make bind() fail.
    ::unlink(path.constData());
    if (::bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 ||
        ::listen(fd, mostConnections) != 0) {
        ::close(fd);
        return;
    }
    m_listener = fd;
    m_spare = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    m_notifier = new QSocketNotifier(fd, QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &SingleInstance::acceptAll);
}

void SingleInstance::acceptAll()
{
    for (;;) {
        const int fd = ::accept(m_listener, nullptr, nullptr);
        if (fd < 0) {
            if (errno == EINTR)
                continue;
            if (errno != EMFILE && errno != ENFILE)
                return; // nothing more waiting
            // Out of file descriptors: the connection must still leave the queue, or the
            // listener stays readable and nothing else gets done.
            if (m_spare >= 0) {
                ::close(m_spare);
                const int dropped = ::accept(m_listener, nullptr, nullptr);
                if (dropped >= 0)
                    ::close(dropped);
                m_spare = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
                if (dropped >= 0)
                    continue;
            }
            m_notifier->setEnabled(false);
            QTimer::singleShot(descriptorPauseMs, m_notifier,
                               [notifier = m_notifier] { notifier->setEnabled(true); });
            return;
        }
        closeOnExec(fd);
        if (m_connections >= mostConnections || !isOwnUser(fd)) {
            ::close(fd);
            continue;
        }
        auto *socket = new QLocalSocket(this);
        if (!socket->setSocketDescriptor(fd)) {
            delete socket;
            ::close(fd);
            continue;
        }
        serve(socket);
    }
}

void SingleInstance::setHandler(Handler handler)
{
    m_handler = std::move(handler);
}

void SingleInstance::serve(QLocalSocket *socket)
{
    ++m_connections;
    connect(socket, &QObject::destroyed, this, [this] { --m_connections; });
    connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
    // Only until the request is in: a run that is waited for may take long.
    auto *silence = new QTimer(socket);
    silence->setSingleShot(true);
    connect(silence, &QTimer::timeout, socket, &QLocalSocket::abort);
    silence->start(requestTimeoutMs);
    connect(socket, &QLocalSocket::readyRead, socket, [this, socket, silence] {
        if (!socket->canReadLine()) {
            if (socket->bytesAvailable() >= instance::longestLine)
                socket->abort();
            return;
        }
        silence->stop();
        const auto request = instance::decodeRequest(socket->readLine(instance::longestLine));
        // Answered at most once per connection; the rest of the line is ignored.
        disconnect(socket, &QLocalSocket::readyRead, socket, nullptr);
        // The answer may come after the client has gone, and the socket with it.
        const Answer answer = [socket =
                                   QPointer<QLocalSocket>(socket)](const instance::Reply &reply) {
            if (!socket)
                return;
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
