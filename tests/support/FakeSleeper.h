#pragma once

#include "Sleeper.h"

#include <QList>

#include <functional>

namespace corvane::testing {

// Records every wait and returns at once, so a run's timing is checked without taking time.
class FakeSleeper final : public Sleeper {
public:
    QList<double> seconds;
    std::function<void(double)> onWait;

    QCoro::Task<> sleepFor(std::chrono::nanoseconds duration) override
    {
        seconds.append(std::chrono::duration<double>(duration).count());
        if (onWait)
            onWait(seconds.last());
        co_return;
    }
};

} // namespace corvane::testing
