#pragma once

#include "Sleeper.h"

#include <chrono>
#include <functional>

namespace corvane {

// Waits on the continuous clock (on macOS CLOCK_MONOTONIC, which is mach_continuous_time and
// keeps counting while the Mac sleeps) with ordinary event-loop timers. Those timers count awake
// time only, so one armed before a sleep would fire late by the whole sleep: the wait is taken
// in short ticks and ends at the first tick that finds the clock past the deadline.
class ContinuousClockSleeper final : public Sleeper {
public:
    using Clock = std::function<std::chrono::nanoseconds()>;

    // The longest a tick lasts, and so the most a wait can overrun once the computer wakes.
    static constexpr std::chrono::milliseconds defaultTick{1000};

    // The continuous clock of this system (CLOCK_BOOTTIME where CLOCK_MONOTONIC stops in sleep).
    static std::chrono::nanoseconds continuousNow();

    explicit ContinuousClockSleeper(Clock clock = &continuousNow,
                                    std::chrono::milliseconds tick = defaultTick);

    QCoro::Task<> sleepFor(std::chrono::nanoseconds duration) override;

private:
    Clock m_clock;
    std::chrono::milliseconds m_tick;
};

} // namespace corvane
