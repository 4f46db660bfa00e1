#pragma once

#include "AppConfig.h"

#include <QCoroTask>
#include <QObject>

namespace corvane {

class Platform;
class Sleeper;

// Opens one terminal window per group and runs its commands. One run at a time.
class TerminalRunner final : public QObject {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(TerminalRunner)
    Q_PROPERTY(bool isRunning READ isRunning NOTIFY isRunningChanged)

public:
    TerminalRunner(Platform &platform, Sleeper &sleeper, QObject *parent = nullptr);

    bool isRunning() const { return m_isRunning; }

    // Runs `config` (a copy taken by the caller). Ignored while a run is under way; never throws.
    // Every failure ends in at most one alert.
    QCoro::Task<> runAll(AppConfig config);

Q_SIGNALS:
    void isRunningChanged(bool isRunning);

private:
    void setRunning(bool running);

    Platform &m_platform;
    Sleeper &m_sleeper;
    bool m_isRunning = false;
};

} // namespace corvane
