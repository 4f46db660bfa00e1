#pragma once

#include <QLocalServer>
#include <QObject>
#include <QString>

namespace corvane {

// Keeps one Corvane per user and configuration folder: a later start asks the running one to
// show its editor, through a local socket, and then exits.
class SingleInstance final : public QObject {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(SingleInstance)

public:
    // `scope` tells instances apart (the configuration folder), so that separate configurations
    // can each run their own Corvane.
    explicit SingleInstance(const QString &scope, QObject *parent = nullptr);

    // True when this process is the one to run; false when another one took the request.
    bool claim();

Q_SIGNALS:
    void activationRequested();

private:
    QString m_name;
    QLocalServer m_server;
};

} // namespace corvane
