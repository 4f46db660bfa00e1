#include "HeldSleeper.h"

#include <QCoroSignal>

namespace corvane::testing {

QCoro::Task<bool> HeldSleeper::sleepFor(std::chrono::nanoseconds duration)
{
    waits.append(duration);
    ++pending;
    const bool completed = co_await qCoro(this, &HeldSleeper::released);
    co_return completed;
}

void HeldSleeper::release(bool completed)
{
    // Every waiter was resumed from inside the emission; they are no longer pending.
    pending = 0;
    Q_EMIT released(completed);
}

} // namespace corvane::testing
