#pragma once

#include "Sleeper.h"

#include <QCoroSignal>
#include <QObject>

namespace corvane::testing {

// Keeps every wait suspended until release(), so that a run can be watched while under way.
class HeldSleeper final : public QObject, public Sleeper {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(HeldSleeper)

public:
    explicit HeldSleeper(QObject *parent = nullptr) : QObject(parent) {}

    int pending = 0; // waits now suspended

    QCoro::Task<> sleepFor(std::chrono::nanoseconds) override
    {
        ++pending;
        co_await qCoro(this, &HeldSleeper::released);
    }
    // Resumes every suspended wait (inside the emission).
    void release()
    {
        pending = 0;
        Q_EMIT released();
    }

Q_SIGNALS:
    void released();
};

} // namespace corvane::testing
