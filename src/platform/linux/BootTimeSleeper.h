#pragma once

#include "Sleeper.h"

namespace corvane {

// Waits on CLOCK_BOOTTIME, which keeps counting while the machine is suspended, through a timerfd
// watched by the event loop: the UI stays responsive and a wait never ends early.
class BootTimeSleeper final : public Sleeper {
public:
    BootTimeSleeper() = default;

    QCoro::Task<> sleepFor(std::chrono::nanoseconds duration) override;
};

} // namespace corvane
