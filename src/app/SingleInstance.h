#pragma once

#include "InstanceProtocol.h"

#include <QObject>
#include <QString>

#include <functional>
#include <optional>

class QLocalSocket;
class QSocketNotifier;

namespace corvane {

// Keeps one Corvane per user and configuration folder. A later start hands its request to the
// running one over a local socket (InstanceProtocol.h), prints the reply and exits.
//
// The socket lives only in a folder that is the user's own with no access for others: the
// runtime folder when it is one, else a private "corvane-<uid>" folder in the temporary folder.
// Both ends check that the other runs as the same user.
class SingleInstance final : public QObject {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(SingleInstance)

public:
    using Answer = std::function<void(const instance::Reply &)>;
    // Takes a request; calls `answer` once, when it has an answer (for a run: its outcome).
    using Handler = std::function<void(instance::Request request, const Answer &answer)>;

    // `scope` tells instances apart (the configuration folder), so that separate configurations
    // can each run their own Corvane.
    explicit SingleInstance(const QString &scope, QObject *parent = nullptr);
    ~SingleInstance() override;

    // Why no socket folder can be used (e.g. another user owns it), or nothing. Then there is
    // no hand-over and no claim.
    std::optional<QString> problem() const { return m_problem; }

    // The running Corvane's reply to `request`; nothing when none is running.
    std::optional<instance::Reply> handOver(instance::Request request);
    // As handOver, but when none is running this process becomes the one: it listens for the
    // requests of later starts, and gives nothing.
    std::optional<instance::Reply> handOverOrClaim(instance::Request request);

    void setHandler(Handler handler);

    // At most this many requests are served at once; later connections are closed at once.
    static constexpr int mostConnections = 16;

private:
    void listen();
    void acceptAll();
    void serve(QLocalSocket *socket);

    QString m_name;
    QString m_lockPath;
    std::optional<QString> m_problem;
    int m_listener = -1;
    // Kept open so that one can be freed to accept and close a connection when the process is
    // out of file descriptors; otherwise the listener would stay readable forever.
    int m_spare = -1;
    QSocketNotifier *m_notifier = nullptr;
    int m_connections = 0;
    Handler m_handler;
};

} // namespace corvane
