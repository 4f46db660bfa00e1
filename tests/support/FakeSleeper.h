#pragma once

#include "Sleeper.h"

#include <QList>

#include <chrono>
#include <functional>

namespace corvane::testing {

// Records every wait and returns at once, so a run's timing is checked without taking time.
class FakeSleeper final : public Sleeper {
public:
    QList<std::chrono::nanoseconds> waits;
    // Index of the wait (0-based) that reports a cancellation; -1 for none.
    int cancelAt = -1;
    // Called at each wait, before it returns (e.g. to record the position in the platform log).
    std::function<void(std::chrono::nanoseconds)> onWait;

    QCoro::Task<bool> sleepFor(std::chrono::nanoseconds duration) override
    {
        const int index = static_cast<int>(waits.size());
        waits.append(duration);
        if (onWait)
            onWait(duration);
        co_return index != cancelAt;
    }

    // The waits in seconds, for readable comparisons.
    QList<double> seconds() const
    {
        QList<double> result;
        for (auto wait : waits)
            result.append(std::chrono::duration<double>(wait).count());
        return result;
    }
};

} // namespace corvane::testing
