#pragma once

#include "AppConfig.h"

#include <QCoroTask>
#include <QObject>

#include <memory>
#include <utility>

namespace corvane {

class Platform;
class Sleeper;
class TmuxSessions;

// Opens one terminal window per group and runs its commands. One run at a time.
class TerminalRunner final : public QObject {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(TerminalRunner)
    Q_PROPERTY(bool isRunning READ isRunning NOTIFY isRunningChanged)

public:
    TerminalRunner(Platform &platform, Sleeper &sleeper, QObject *parent = nullptr);
    ~TerminalRunner() override;

    bool isRunning() const { return m_isRunning; }

    // Runs `config` (a copy taken by the caller). Ignored while a run is under way; never throws.
    // Every failure ends in at most one alert.
    QCoro::Task<> runAll(AppConfig config);

Q_SIGNALS:
    void isRunningChanged(bool isRunning);
    // A window typed into through tmux waits for the user ("Window “api” is waiting for your
    // input"): a program there asks for a password or a host key.
    void inputWanted(const QString &message);
    // The run shows this alert and ends once it is dismissed.
    void alerting(const QString &messageText, const QString &informativeText);

private:
    void setRunning(bool running);
    void alert(const std::pair<QString, QString> &text);

    Platform &m_platform;
    Sleeper &m_sleeper;
    bool m_isRunning = false;
    // The windows typed into through tmux, once a run has used it; they outlive their run.
    std::unique_ptr<TmuxSessions> m_tmux;
};

} // namespace corvane
