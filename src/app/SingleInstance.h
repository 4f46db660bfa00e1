#pragma once

#include "InstanceProtocol.h"

#include <QLocalServer>
#include <QObject>
#include <QString>

#include <functional>
#include <optional>

namespace corvane {

// Keeps one Corvane per user and configuration folder. A later start hands its request to the
// running one over a local socket (InstanceProtocol.h), prints the reply and exits.
class SingleInstance final : public QObject {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(SingleInstance)

public:
    using Answer = std::function<void(const instance::Reply &)>;
    // Takes a request; calls `answer` once, before doing anything that may take long.
    using Handler = std::function<void(instance::Request request, const Answer &answer)>;

    // `scope` tells instances apart (the configuration folder), so that separate configurations
    // can each run their own Corvane.
    explicit SingleInstance(const QString &scope, QObject *parent = nullptr);

    // The running Corvane's reply to `request`; nothing when none is running.
    std::optional<instance::Reply> handOver(instance::Request request);
    // As handOver, but when none is running this process becomes the one: it listens for the
    // requests of later starts, and gives nothing.
    std::optional<instance::Reply> handOverOrClaim(instance::Request request);

    void setHandler(Handler handler);

private:
    void serve(class QLocalSocket *socket);

    QString m_name;
    QString m_lockPath;
    QLocalServer m_server;
    Handler m_handler;
};

} // namespace corvane
