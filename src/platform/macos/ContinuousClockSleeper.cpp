#include "ContinuousClockSleeper.h"

#include <QCoreApplication>
#include <QPointer>
#include <QTimer>

#include <algorithm>
#include <coroutine>
#include <memory>

#include <time.h>

namespace corvane {

namespace {

// Resumes the awaiting coroutine when a precise timer expires. The resumption is posted as a
// fresh event rather than made from inside the timer's signal, so the rest of a run (which may
// open modal alerts) never executes nested in it and the timer can be destroyed safely; a timer
// destroyed with its coroutine resumes nothing.
class TimerExpiry final {
public:
    explicit TimerExpiry(std::chrono::milliseconds interval) : m_interval(interval) {}

    bool await_ready() const noexcept { return false; }

    void await_suspend(std::coroutine_handle<> waiting)
    {
        m_timer = std::make_unique<QTimer>();
        m_timer->setTimerType(Qt::PreciseTimer);
        m_timer->setSingleShot(true);
        QObject::connect(m_timer.get(), &QTimer::timeout, m_timer.get(),
                         [waiting, timer = QPointer<QTimer>(m_timer.get())] {
                             QMetaObject::invokeMethod(
                                 QCoreApplication::instance(),
                                 [waiting, timer] {
                                     if (timer)
                                         waiting.resume();
                                 },
                                 Qt::QueuedConnection);
                         });
        m_timer->start(m_interval);
    }

    void await_resume() const noexcept {}

private:
    std::chrono::milliseconds m_interval;
    std::unique_ptr<QTimer> m_timer;
};

} // namespace

std::chrono::nanoseconds ContinuousClockSleeper::continuousNow()
{
#ifdef __APPLE__
    constexpr clockid_t continuous = CLOCK_MONOTONIC;
#else
    constexpr clockid_t continuous = CLOCK_BOOTTIME;
#endif
    timespec now{};
    ::clock_gettime(continuous, &now);
    return std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
}

ContinuousClockSleeper::ContinuousClockSleeper(Clock clock, std::chrono::milliseconds tick)
    : m_clock(std::move(clock)), m_tick(std::max(tick, std::chrono::milliseconds(1)))
{
}

QCoro::Task<> ContinuousClockSleeper::sleepFor(std::chrono::nanoseconds duration)
{
    if (duration <= std::chrono::nanoseconds::zero())
        co_return;
    const std::chrono::nanoseconds deadline = m_clock() + duration;
    for (auto now = m_clock(); now < deadline; now = m_clock()) {
        // Rounded up: a timer that fires a little early only costs one more short tick.
        const auto remaining = std::chrono::ceil<std::chrono::milliseconds>(deadline - now);
        co_await TimerExpiry(std::min(remaining, m_tick));
    }
}

} // namespace corvane
