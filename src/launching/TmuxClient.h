#pragma once

#include "Platform.h"

#include <QByteArray>
#include <QCoroTask>
#include <QString>
#include <QStringList>

#include <chrono>

namespace corvane {

// What one tmux command gave: whether it succeeded, and what it printed.
struct TmuxReply {
    bool ok = false;
    QByteArray out;
    QByteArray err;
};

// Talks to Corvane's own tmux server (`tmux -L corvane`), apart from any server the user runs, one
// client process per call, never blocking the caller's thread.
class TmuxClient final {
public:
    // `program` is tmux's path; `server` the socket name given to -L.
    TmuxClient(QString program, QString server = QStringLiteral("corvane"));

    const QString &program() const { return m_program; }
    const QString &server() const { return m_server; }

    // The process that runs `arguments` (tmux commands, `;` between them) on this server.
    ProcessCommand command(const QStringList &arguments) const;
    // Runs them; a client that has not answered within `timeout` counts as failed.
    QCoro::Task<TmuxReply> run(QStringList arguments,
                               std::chrono::milliseconds timeout = std::chrono::seconds(10)) const;
    // How many runs are waiting for their tmux client now, in this process. A typing whose owner
    // has gone still finishes the run it is in; tests wait for that before they end.
    static int runsUnderWay();

private:
    QString m_program;
    QString m_server;
};

} // namespace corvane
