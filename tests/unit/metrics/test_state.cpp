#include <gtest/gtest.h>

#include <cmath>

#include "metrics/QMState.h"
#include "platform/QMException.h"
#include "support/QMTestEnvironment.h"
#include "unit/metrics/QMRecordingMetric.h"

class QMStateTest : public QMVirtualTimeTest {
protected:
    std::shared_ptr<QMState> state = QMState::stateWithName("buffering");
};

TEST_F(QMStateTest, ReenteringKeepsTheFirstEntranceAndCountsOnce) {
    state->setDebugMode(true);
    state->enterStateWithTime(1000, "buffering");
    state->enterStateWithTime(2000, "buffering");
    state->exitStateWithTime(3000, "buffering");
    ASSERT_EQ(state->stateHistory().size(), 1u);
    EXPECT_EQ(state->stateHistory()[0]->entranceTime(), 1000);
    EXPECT_EQ(state->stateHistory()[0]->duration(), 2000);
    EXPECT_EQ(state->getStateEntranceCount(), 1);
    EXPECT_FALSE(state->isInState());
    EXPECT_EQ(loggerLines(console, "D", "SV", "enter state: buffering"), 2);
    EXPECT_EQ(loggerLines(console, "D", "SV", "renter state: buffering"), 1);
    EXPECT_EQ(loggerLines(console, "D", "SV", "exit state: buffering"), 1);
}

TEST_F(QMStateTest, ExitWithoutEntranceOnlyLogsAnError) {
    state->enterStateWithTime(10, "buffering");
    state->exitStateWithTime(20, "buffering");
    state->exitStateWithTime(30, "label");
    EXPECT_EQ(state->stateHistory().size(), 1u);
    EXPECT_EQ(state->getStateTotalTime(), 10);
    EXPECT_EQ(state->getStateEntranceCount(), 1);
    EXPECT_EQ(loggerLines(console, "E", "SV", "exit from state that not enter: label"), 1);
    EXPECT_EQ(console.lines().size(), 1u);  // no debug lines while debugMode is off
}

TEST_F(QMStateTest, ExitBeforeEntranceThrowsWithTheStoredExitTimeAndKeepsTheIntervalOpen) {
    state->enterStateWithTime(5000, "buffering");
    EXPECT_EQ(thrownBy<QMIllegalTimeStampException>([&] { state->exitStateWithTime(4000, "buffering"); }),
              "QMIllegalTimeStampException: End timestamp is sooner that start timestamp. [0] < [5000]");
    EXPECT_TRUE(state->isInState());
    EXPECT_TRUE(state->stateHistory().empty());

    // An entry closed once and moved later still reports its old exit time.
    QMStateHistoryEntry entry;
    entry.setEntranceTime(100);
    entry.setExitTime(200);
    entry.setEntranceTime(300);
    EXPECT_EQ(thrownBy<QMIllegalTimeStampException>([&] { entry.setExitTime(250); }),
              "QMIllegalTimeStampException: End timestamp is sooner that start timestamp. [200] < [300]");
    EXPECT_EQ(entry.exitTime(), 200);
    EXPECT_EQ(entry.duration(), 100);
}

TEST_F(QMStateTest, EqualTimesGiveAZeroInterval) {
    state->enterStateWithTime(7000, "buffering");
    state->exitStateWithTime(7000, "buffering");
    EXPECT_EQ(state->stateHistory().at(0)->duration(), 0);
    EXPECT_EQ(state->getStateEntranceCount(), 1);
    EXPECT_EQ(state->getStateAverageTime(), 0.0);
}

TEST_F(QMStateTest, TotalsAndAverageCountTheOpenIntervalUpToTheCall) {
    EXPECT_TRUE(std::isnan(state->getStateAverageTime()));
    EXPECT_EQ(state->getStateTotalTime(), 0);

    state->enterStateWithTime(now(), "buffering");
    runFor(300);
    state->exitStateWithTime(now(), "buffering");
    state->enterStateWithTime(now(), "buffering");
    runFor(100);
    EXPECT_EQ(state->getStateTotalTime(), 400);
    EXPECT_DOUBLE_EQ(state->getStateAverageTime(), 200.0);
    EXPECT_EQ(state->getStateEntranceCount(), 2);
    runFor(50);
    EXPECT_EQ(state->getStateTotalTime(), 450);

    state->exitStateWithTime(now(), "buffering");
    runFor(1000);
    EXPECT_EQ(state->getStateTotalTime(), 450);
    EXPECT_DOUBLE_EQ(state->getStateAverageTime(), 225.0);
}

TEST_F(QMStateTest, ClearHistoryKeepsTheOpenInterval) {
    state->enterStateWithTime(now(), "buffering");
    runFor(500);
    state->exitStateWithTime(now(), "buffering");
    state->enterStateWithTime(now(), "buffering");
    runFor(40);
    state->clearHistory();
    EXPECT_TRUE(state->isInState());
    EXPECT_EQ(state->getStateTotalTime(), 40);
    EXPECT_EQ(state->getStateEntranceCount(), 1);
    EXPECT_DOUBLE_EQ(state->getStateAverageTime(), 40.0);
}
