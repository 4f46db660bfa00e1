#include "BootTimeSleeper.h"

#include <QEventLoop>
#include <QTest>
#include <QTimer>

#include <time.h>

using namespace corvane;
using namespace std::chrono_literals;

namespace {

std::chrono::nanoseconds bootTimeNow()
{
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    return std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
}

} // namespace

class BootTimeSleeperTest final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void waitKeepsTheEventLoopServingAndIsNeverShort()
    {
        BootTimeSleeper sleeper;
        int timerFired = 0;
        bool timerFiredBeforeWake = false;
        QTimer::singleShot(0, this, [&] { ++timerFired; });

        bool finished = false;
        bool result = false;
        std::chrono::nanoseconds slept{};
        const auto start = bootTimeNow();
        auto task = [&]() -> QCoro::Task<> {
            result = co_await sleeper.sleepFor(300ms + 123us);
            slept = bootTimeNow() - start;
            timerFiredBeforeWake = timerFired == 1;
            finished = true;
        }();
        QVERIFY(!finished);
        QTRY_VERIFY_WITH_TIMEOUT(finished, 10000);
        QVERIFY(result);
        QVERIFY(timerFiredBeforeWake);
        QVERIFY2(slept >= 300ms + 123us, qPrintable(QString::number(slept.count())));
    }

    void degenerateDurationsReturnAtOnce()
    {
        BootTimeSleeper sleeper;
        for (const auto duration : {std::chrono::nanoseconds::zero(), std::chrono::nanoseconds(-5s),
                                    std::chrono::nanoseconds::min()}) {
            auto task = sleeper.sleepFor(duration);
            QVERIFY(task.isReady());
        }
    }

    void hugeDurationStaysPending()
    {
        // Must neither fail nor fire: the wait is armed and simply never ends during the test.
        BootTimeSleeper sleeper;
        bool finished = false;
        auto task = [&]() -> QCoro::Task<> {
            co_await sleeper.sleepFor(std::chrono::nanoseconds::max());
            finished = true;
        }();
        // One full pass of the event loop: a wait that failed to arm would have ended by now.
        QEventLoop loop;
        QTimer::singleShot(0, &loop, &QEventLoop::quit);
        loop.exec();
        QVERIFY(!finished);
    }
};

QTEST_GUILESS_MAIN(BootTimeSleeperTest)
#include "tst_boottimesleeper.moc"
