#pragma once

#include "Sleeper.h"

#include <QList>
#include <QObject>

#include <chrono>

namespace corvane::testing {

// Records every wait and keeps it suspended until the test calls release(), so that a run can
// be observed (and poked) while it is under way.
class HeldSleeper final : public QObject, public Sleeper {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(HeldSleeper)

public:
    explicit HeldSleeper(QObject *parent = nullptr) : QObject(parent) {}

    QList<std::chrono::nanoseconds> waits;
    // Number of waits currently suspended.
    int pending = 0;

    QCoro::Task<bool> sleepFor(std::chrono::nanoseconds duration) override;

    // Resumes every suspended wait with `completed` (false reports a cancellation).
    void release(bool completed = true);

Q_SIGNALS:
    void released(bool completed);
};

} // namespace corvane::testing
