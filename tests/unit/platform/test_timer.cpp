#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "support/QMTestEnvironment.h"
#include "veyrakit/platform/QMRunLoop.h"
#include "veyrakit/platform/QMTimer.h"

namespace veyrakit {

namespace {

class TimerTest : public QMVirtualTimeTest {};

struct Target {
    int fires = 0;
};

// A loop whose clocks the test sets by hand, to make a timer late the way a busy main thread does.
class ManualClockLoop : public QMRunLoop {
  public:
    int64_t nowMicros() const override { return micros; }
    int64_t monotonicMicros() const override { return micros; }
    void runDue() { runOnce(0); }
    int64_t micros = 0;

  protected:
    void idleUntil(int64_t) override {}
};

TEST_F(TimerTest, RepeatingTimerKeepsItsPhaseAndSkipsMissedFires) {
    auto manual = std::make_shared<ManualClockLoop>();
    std::vector<int64_t> fired;
    auto timer = QMTimer::scheduledTimerWithTimeInterval(
        10, [&](QMTimer&) { fired.push_back(manual->micros / 1000); }, true, manual);
    manual->micros = 10'700'000;  // 0.7 s late
    manual->runDue();
    EXPECT_EQ(timer->fireTimeMicros(), 20'000'000);  // not 20.7 s: the lateness does not carry over
    manual->micros = 45'000'000;                     // the fires at 20 s and 30 s were missed
    manual->runDue();
    manual->runDue();
    EXPECT_EQ(fired, (std::vector<int64_t>{10'700, 45'000}));  // once, not a burst of three
    EXPECT_EQ(timer->fireTimeMicros(), 50'000'000);
    timer->invalidate();
}

TEST_F(TimerTest, TimersDueTogetherFireInSchedulingOrder) {
    std::string order;
    auto a = QMTimer::scheduledTimerWithTimeInterval(
        2, [&](QMTimer&) { order += "a"; }, true);
    auto b = QMTimer::scheduledTimerWithTimeInterval(
        1, [&](QMTimer&) { order += "b"; }, true);
    auto c = QMTimer::scheduledTimerWithTimeInterval(
        2, [&](QMTimer&) { order += "c"; }, false);
    runFor(4'000);
    EXPECT_EQ(order, "babcbab");
    EXPECT_EQ(loop->timerCount(), 2u);
    a->invalidate();
    b->invalidate();
    EXPECT_EQ(loop->timerCount(), 0u);
}

TEST_F(TimerTest, InvalidateFromInsideTheCallbackReleasesTheTarget) {
    auto target = std::make_shared<Target>();
    std::weak_ptr<Target> watch = target;
    QMTimer::scheduledTimerWithTimeInterval(
        0.25,
        [target](QMTimer& timer) {
            if (++target->fires == 3) {
                timer.invalidate();
                EXPECT_FALSE(timer.isValid());
                EXPECT_EQ(target->fires, 3);  // the running closure is still intact
            }
        },
        true);
    target.reset();
    EXPECT_FALSE(watch.expired());  // held by the scheduled timer
    runFor(10'000);
    EXPECT_TRUE(watch.expired());
    EXPECT_EQ(loop->timerCount(), 0u);
}

TEST_F(TimerTest, OneShotReleasesItsTargetOnceFiredAndInvalidateCancels) {
    auto target = std::make_shared<Target>();
    std::weak_ptr<Target> watch = target;
    auto oneShot = QMTimer::scheduledTimerWithTimeInterval(
        5, [target](QMTimer&) { ++target->fires; }, false);
    auto cancelled = QMTimer::scheduledTimerWithTimeInterval(
        3, [target](QMTimer&) { target->fires += 100; }, false);
    target.reset();
    cancelled->invalidate();
    runFor(4'999);
    EXPECT_FALSE(watch.expired());
    EXPECT_TRUE(oneShot->isValid());
    runFor(1);
    EXPECT_TRUE(watch.expired());
    EXPECT_FALSE(oneShot->isValid());
    EXPECT_EQ(loop->timerCount(), 0u);
}

TEST_F(TimerTest, DroppingTheLoopInvalidatesItsTimersAndReleasesTargets) {
    auto target = std::make_shared<Target>();
    std::weak_ptr<Target> watch = target;
    auto timer = QMTimer::scheduledTimerWithTimeInterval(
        10, [target](QMTimer&) { ++target->fires; }, true);
    target.reset();
    QMRunLoop::setMainRunLoop(nullptr);
    loop.reset();
    EXPECT_TRUE(watch.expired());  // even though the timer object is still referenced here
    EXPECT_FALSE(timer->isValid());
    timer->invalidate();  // harmless without a loop
    loop = std::make_shared<QMVirtualRunLoop>(startMillis);
    QMRunLoop::setMainRunLoop(loop);
}

TEST_F(TimerTest, NonPositiveIntervalsBecomeTheMinimumOfATenthOfAMillisecond) {
    auto timer = QMTimer::scheduledTimerWithTimeInterval(
        -10, [](QMTimer&) {}, false);
    EXPECT_DOUBLE_EQ(timer->timeInterval(), 0.0001);
    EXPECT_EQ(timer->fireTimeMicros(), startMillis * 1000 + 100);
    timer->invalidate();
}

}  // namespace

}  // namespace veyrakit
