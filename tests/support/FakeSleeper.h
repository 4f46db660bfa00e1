#pragma once

#include "Sleeper.h"

#include <QCoroSignal>
#include <QList>
#include <QObject>

#include <functional>

namespace corvane::testing {

// Records every wait and returns at once, so a run's timing is checked without taking time; one
// made `held` keeps each wait suspended until release(), so that a run can be watched under way.
class FakeSleeper final : public QObject, public Sleeper {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(FakeSleeper)

public:
    explicit FakeSleeper(bool held = false) : m_held(held) {}

    QList<double> seconds;
    std::function<void(double)> onWait;
    int pending = 0; // waits now suspended

    QCoro::Task<> sleepFor(std::chrono::nanoseconds duration) override
    {
        seconds.append(std::chrono::duration<double>(duration).count());
        if (onWait)
            onWait(seconds.last());
        if (m_held) {
            ++pending;
            co_await qCoro(this, &FakeSleeper::released);
        }
    }
    // Resumes every suspended wait (inside the emission).
    void release()
    {
        pending = 0;
        Q_EMIT released();
    }

Q_SIGNALS:
    void released();

private:
    bool m_held;
};

} // namespace corvane::testing
