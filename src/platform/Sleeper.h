#pragma once

#include <QCoroTask>

#include <chrono>

namespace corvane {

// Suspends a coroutine on a clock that keeps counting while the computer sleeps, without blocking
// the event loop. Tests substitute a fake that records the waits and returns at once.
class Sleeper {
public:
    virtual ~Sleeper() = default;

    // Resumes the caller after `duration`, never sooner.
    virtual QCoro::Task<> sleepFor(std::chrono::nanoseconds duration) = 0;
};

} // namespace corvane
