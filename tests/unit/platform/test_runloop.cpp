#include <gtest/gtest.h>
#include <poll.h>

#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "platform/QMClock.h"
#include "platform/QMException.h"
#include "support/QMTestEnvironment.h"
#include "veyrakit/platform/QMRunLoop.h"
#include "veyrakit/platform/QMTimer.h"

namespace veyrakit {

namespace {

class RunLoopTest : public QMVirtualTimeTest {};

TEST_F(RunLoopTest, VirtualClockJumpsToTimersAndStopsAtTheTarget) {
    std::vector<int64_t> fired;
    auto timer = QMTimer::scheduledTimerWithTimeInterval(
        2.5, [&](QMTimer&) { fired.push_back(now() - startMillis); }, true);
    runFor(7'499);
    EXPECT_EQ(fired, (std::vector<int64_t>{2'500, 5'000}));
    EXPECT_EQ(now(), startMillis + 7'499);
    runFor(1);  // a timer due exactly at the target fires within that call
    EXPECT_EQ(fired.back(), 7'500);
    timer->invalidate();
}

TEST_F(RunLoopTest, ClockFollowsTheMainLoopWithTruncatedMilliseconds) {
    int64_t millis = 0;
    int64_t micros = 0;
    QMTimer::scheduledTimerWithTimeInterval(
        0.0029,
        [&](QMTimer&) {
            millis = QMClock::currentTimeMillis();
            micros = QMClock::currentTimeMicros();
        },
        false);
    runFor(10);
    EXPECT_EQ(micros, startMillis * 1000 + 2'900);
    EXPECT_EQ(millis, startMillis + 2);
    EXPECT_DOUBLE_EQ(QMClock::timeIntervalSince1970(), (startMillis + 10) / 1000.0);
}

TEST_F(RunLoopTest, TasksRunInPostingOrderAfterWhatIsAlreadyQueued) {
    std::vector<std::string> order;
    loop->post([&] {
        order.push_back("a");
        loop->post([&] { order.push_back("c"); });
    });
    loop->post([&] { order.push_back("b"); });
    loop->postAfter(1'000'000, [&] { order.push_back("delayed@" + std::to_string(now() - startMillis)); });
    EXPECT_EQ(loop->timerCount(), 0u);  // delayed tasks are not timers
    runFor(5'000);
    EXPECT_EQ(order, (std::vector<std::string>{"a", "b", "c", "delayed@1000"}));
}

TEST_F(RunLoopTest, PostsFromAnotherThreadRunOnTheLoopInOrder) {
    const auto loopThread = std::this_thread::get_id();
    std::vector<int> seen;
    bool allOnLoopThread = true;
    std::thread producer([&] {
        for (int i = 0; i < 100; ++i) {
            loop->post([&, i] {
                seen.push_back(i);
                allOnLoopThread = allOnLoopThread && std::this_thread::get_id() == loopThread;
                if (i == 99) {
                    loop->stop();
                }
            });
        }
    });
    loop->run();  // nothing scheduled: waits for the producer instead of jumping the clock
    producer.join();
    ASSERT_EQ(seen.size(), 100u);
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(seen[i], i);
    }
    EXPECT_TRUE(allOnLoopThread);
    EXPECT_EQ(now(), startMillis);
}

TEST_F(RunLoopTest, ExceptionEscapingACallbackIsLoggedAndTheLoopGoesOn) {
    int ticks = 0;
    auto timer = QMTimer::scheduledTimerWithTimeInterval(
        1.0,
        [&](QMTimer&) {
            if (++ticks == 1) {
                throw QMIllegalStateException("QMState buffering does not exists.");
            }
        },
        true);
    loop->post([] { throw std::runtime_error("plain failure"); });
    bool later = false;
    loop->post([&] { later = true; });
    runFor(3'000);
    EXPECT_TRUE(later);
    EXPECT_EQ(ticks, 3);  // the repeating timer survived its throwing fire
    EXPECT_EQ(console.lines(),
              (std::vector<std::string>{
                  "*** Caught exception 'std::runtime_error' in a run loop callback, reason: 'plain failure'",
                  "*** Caught exception 'QMIllegalStateException' in a run loop callback, reason: 'QMState "
                  "buffering does not exists.'"}));
    timer->invalidate();
}

TEST_F(RunLoopTest, CallbackObserverHearsTheRealDurationOfEveryTaskAndTimerFireUntilRemoved) {
    std::vector<int64_t> durations;
    loop->setCallbackObserver([&](int64_t micros) { durations.push_back(micros); });
    loop->post([] { std::this_thread::sleep_for(std::chrono::milliseconds(20)); });
    loop->postAfter(5'000, [] {});
    QMTimer::scheduledTimerWithTimeInterval(
        1.0, [](QMTimer&) { throw std::runtime_error("boom"); }, false);  // measured though it throws
    runFor(5'000);
    ASSERT_EQ(durations.size(), 3u);
    EXPECT_GE(durations[0], 20'000);  // real time, though the virtual clock stood still
    loop->setCallbackObserver(nullptr);
    loop->post([] {});
    runFor(0);
    EXPECT_EQ(durations.size(), 3u);
}

TEST_F(RunLoopTest, RunUntilReportsThePredicateOrTheTimeoutOnTheLoopClock) {
    bool flag = false;
    loop->postAfter(4'000'000, [&] { flag = true; });
    EXPECT_FALSE(loop->runUntil([&] { return flag; }, 3'000));
    EXPECT_EQ(now(), startMillis + 3'000);
    EXPECT_TRUE(loop->runUntil([&] { return flag; }, 3'000));
    EXPECT_EQ(now(), startMillis + 4'000);

    loop->runUntilDate(startMillis + 9'000);
    EXPECT_EQ(now(), startMillis + 9'000);
}

TEST_F(RunLoopTest, StopEndsRunAndDroppingTheMainLoopGivesAFreshRealOne) {
    QMTimer::scheduledTimerWithTimeInterval(
        60, [&](QMTimer&) { loop->stop(); }, false);
    loop->run();
    EXPECT_EQ(now(), startMillis + 60'000);

    QMRunLoop::setMainRunLoop(nullptr);
    auto real = QMRunLoop::mainRunLoop();
    EXPECT_NE(real, loop);
    EXPECT_FALSE(real->isVirtual());
    EXPECT_GT(QMClock::currentTimeMillis(), startMillis);  // wall clock again
    QMRunLoop::setMainRunLoop(loop);
}

// A real loop whose wall clock the test sets back, as an administrator or a time daemon does.
class SteppedWallClockLoop : public QMRunLoop {
  public:
    int64_t nowMicros() const override { return QMRunLoop::nowMicros() - stepBackMicros; }
    int64_t stepBackMicros = 0;
};

TEST(RealClockTest, WallClockSetBackMovesTimestampsButNotARepeatingTimer) {
    auto stepped = std::make_shared<SteppedWallClockLoop>();
    QMRunLoop::setMainRunLoop(stepped);
    constexpr int64_t kHourMillis = 3'600'000;
    std::vector<int64_t> stamps;
    auto timer = QMTimer::scheduledTimerWithTimeInterval(
        0.02,
        [&](QMTimer&) {
            stamps.push_back(QMClock::currentTimeMillis());
            if (stamps.size() == 1) {
                stepped->stepBackMicros = kHourMillis * 1000;
            }
        },
        true);
    const int64_t started = stepped->monotonicMicros();
    const bool fourFires = stepped->runUntil([&] { return stamps.size() == 4; }, 10'000);
    const int64_t tookMillis = (stepped->monotonicMicros() - started) / 1000;
    timer->invalidate();
    QMRunLoop::setMainRunLoop(nullptr);

    EXPECT_TRUE(fourFires);  // scheduled on the wall clock, the second fire would be an hour away
    ASSERT_EQ(stamps.size(), 4u);
    EXPECT_GE(tookMillis, 80);  // four fires, 20 ms apart on the monotonic clock
    EXPECT_LT(tookMillis, 10'000);
    // Every timestamp after the step reads the wall clock, an hour earlier.
    EXPECT_GE(stamps[1] + kHourMillis, stamps[0]);
    EXPECT_LT(stamps[1] + kHourMillis, stamps[0] + 10'000);
    EXPECT_GE(stamps[3], stamps[2]);
    EXPECT_GE(stamps[2], stamps[1]);
}

bool readable(int descriptor, int timeoutMillis) {
    pollfd entry{descriptor, POLLIN, 0};
    return ::poll(&entry, 1, timeoutMillis) == 1;
}

// A host that keeps its own loop waits on the run loop's descriptor and deadline and calls
// runDueWork(): work posted from another thread wakes it, a timer sets its deadline, and an idle
// loop asks for nothing.
TEST(HostDrivenLoopTest, DescriptorAndDeadlineWakeTheHostOnlyForDueWork) {
    auto loop = std::make_shared<QMRunLoop>();
    QMRunLoop::setMainRunLoop(loop);
    EXPECT_EQ(loop->backendTimeoutMillis(), -1);
    EXPECT_FALSE(readable(loop->backendDescriptor(), 0));

    std::vector<std::string> ran;
    std::thread poster([&] { loop->post([&] { ran.push_back("posted"); }); });
    poster.join();
    EXPECT_TRUE(readable(loop->backendDescriptor(), 1'000));
    EXPECT_EQ(loop->backendTimeoutMillis(), 0);
    loop->runDueWork();
    EXPECT_EQ(ran, std::vector<std::string>{"posted"});
    EXPECT_FALSE(readable(loop->backendDescriptor(), 0));
    EXPECT_EQ(loop->backendTimeoutMillis(), -1);

    // Posted from the loop's own thread: no wake-up is needed, the deadline says it is due.
    loop->post([&] { ran.push_back("same thread"); });
    EXPECT_FALSE(readable(loop->backendDescriptor(), 0));
    EXPECT_EQ(loop->backendTimeoutMillis(), 0);
    loop->runDueWork();

    auto timer = QMTimer::scheduledTimerWithTimeInterval(
        0.03, [&](QMTimer&) { ran.push_back("timer"); }, false);
    const int deadline = loop->backendTimeoutMillis();
    EXPECT_GT(deadline, 0);
    EXPECT_LE(deadline, 30);
    int wakes = 0;
    while (ran.size() < 3 && wakes < 10) {
        readable(loop->backendDescriptor(), loop->backendTimeoutMillis());
        ++wakes;
        loop->runDueWork();
    }
    EXPECT_EQ(ran, (std::vector<std::string>{"posted", "same thread", "timer"}));
    EXPECT_EQ(wakes, 1);  // the deadline is rounded up: no early wake-up, no spin
    EXPECT_EQ(loop->backendTimeoutMillis(), -1);
    QMRunLoop::setMainRunLoop(nullptr);
}

}  // namespace

}  // namespace veyrakit
