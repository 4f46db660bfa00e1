#pragma once

#include "Sleeper.h"

#include <QCoroSignal>
#include <QObject>

#include <functional>

namespace corvane::testing {

// Returns at once, telling onWait the seconds of each wait, so a run's timing is checked without
// taking time; one made `held` keeps each wait suspended until release(), so that a run can be
// watched under way.
class FakeSleeper final : public QObject, public Sleeper {
    Q_OBJECT

public:
    explicit FakeSleeper(bool hold = false) : held(hold) {}

    const bool held;
    std::function<void(double)> onWait;
    int pending = 0; // waits now suspended

    QCoro::Task<> sleepFor(std::chrono::nanoseconds duration) override
    {
        if (onWait)
            onWait(std::chrono::duration<double>(duration).count());
        if (held) {
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
};

} // namespace corvane::testing
