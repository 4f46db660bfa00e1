#include "BootTimeSleeper.h"

#include <QCoreApplication>
#include <QCoroSignal>
#include <QSocketNotifier>
#include <QTimer>

#include <algorithm>
#include <coroutine>
#include <cstdint>
#include <memory>

#include <sys/timerfd.h>
#include <unistd.h>

namespace corvane {

namespace {

class FileDescriptor final {
public:
    explicit FileDescriptor(int fd) : m_fd(fd) {}
    ~FileDescriptor()
    {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    Q_DISABLE_COPY_MOVE(FileDescriptor)
    int get() const { return m_fd; }

private:
    int m_fd;
};

// Resumes the awaiting coroutine once the armed timerfd has expired. The resumption is posted
// as a fresh event rather than made from inside the notifier's signal, so the rest of a run
// (which may open modal alerts) never executes nested in the notifier, and the notifier can be
// destroyed safely afterwards.
class TimerFdExpiry final {
public:
    explicit TimerFdExpiry(int fd) : m_fd(fd) {}

    bool await_ready() const noexcept { return false; }

    void await_suspend(std::coroutine_handle<> waiting)
    {
        m_notifier = std::make_unique<QSocketNotifier>(m_fd, QSocketNotifier::Read);
        QObject::connect(m_notifier.get(), &QSocketNotifier::activated, m_notifier.get(),
                         [this, waiting] {
                             std::uint64_t expirations = 0;
                             // EAGAIN here would be a spurious wake-up: keep waiting.
                             if (::read(m_fd, &expirations, sizeof expirations) !=
                                 static_cast<ssize_t>(sizeof expirations))
                                 return;
                             m_notifier->setEnabled(false);
                             QMetaObject::invokeMethod(
                                 QCoreApplication::instance(), [waiting] { waiting.resume(); },
                                 Qt::QueuedConnection);
                         });
    }

    void await_resume() const noexcept {}

private:
    int m_fd;
    std::unique_ptr<QSocketNotifier> m_notifier;
};

timespec toTimespec(std::chrono::nanoseconds duration)
{
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(duration);
    timespec result{};
    result.tv_sec = static_cast<time_t>(seconds.count());
    result.tv_nsec = static_cast<long>((duration - seconds).count());
    return result;
}

// Only when no timerfd can be made (descriptor exhaustion): precise Qt timers, rounded up to
// whole milliseconds so that the wait is not early either. A QTimer interval is an int of
// milliseconds, so long waits are taken a day at a time.
QCoro::Task<> preciseTimerWait(std::chrono::nanoseconds duration)
{
    constexpr std::chrono::milliseconds longestInterval = std::chrono::hours(24);
    auto remaining =
        std::chrono::ceil<std::chrono::milliseconds>(duration) + std::chrono::milliseconds(1);
    while (remaining > std::chrono::milliseconds::zero()) {
        const auto interval = std::min(remaining, longestInterval);
        QTimer timer;
        timer.setTimerType(Qt::PreciseTimer);
        timer.setSingleShot(true);
        timer.start(interval);
        co_await qCoro(&timer, &QTimer::timeout);
        remaining -= interval;
    }
}

} // namespace

QCoro::Task<> BootTimeSleeper::sleepFor(std::chrono::nanoseconds duration)
{
    // A zero it_value would disarm the timer instead of expiring it.
    if (duration <= std::chrono::nanoseconds::zero())
        co_return;

    const FileDescriptor timer(::timerfd_create(CLOCK_BOOTTIME, TFD_NONBLOCK | TFD_CLOEXEC));
    itimerspec expiry{};
    expiry.it_value = toTimespec(duration);
    if (timer.get() < 0 || ::timerfd_settime(timer.get(), 0, &expiry, nullptr) != 0) {
        co_await preciseTimerWait(duration);
        co_return;
    }
    co_await TimerFdExpiry(timer.get());
}

} // namespace corvane
