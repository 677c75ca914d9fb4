#include <gtest/gtest.h>

#include <cmath>

#include "metrics/QMState.h"
#include "platform/QMException.h"
#include "support/QMTestEnvironment.h"
#include "unit/metrics/QMRecordingMetric.h"

namespace veyrakit {

class QMStateTest : public QMVirtualTimeTest {
  protected:
    std::shared_ptr<QMState> state = QMState::stateWithName("buffering");
};

TEST_F(QMStateTest, ReenteringKeepsTheFirstEntranceAndExitWithoutEntranceOnlyLogs) {
    state->setDebugMode(true);
    state->enterStateWithTime(1000, "buffering");
    state->enterStateWithTime(2000, "buffering");
    state->exitStateWithTime(3000, "buffering");
    state->exitStateWithTime(3500, "label");
    ASSERT_EQ(state->stateHistory().size(), 1u);
    EXPECT_EQ(state->stateHistory()[0]->entranceTime(), 1000);
    EXPECT_EQ(state->stateHistory()[0]->duration(), 2000);
    EXPECT_EQ(state->getStateEntranceCount(), 1);
    EXPECT_EQ(loggerLines(console, "D", "SV", "enter state: buffering"), 2);
    EXPECT_EQ(loggerLines(console, "D", "SV", "renter state: buffering"), 1);
    EXPECT_EQ(loggerLines(console, "D", "SV", "exit state: buffering"), 1);
    EXPECT_EQ(loggerLines(console, "E", "SV", "exit from state that not enter: label"), 1);
    EXPECT_EQ(console.lines().size(), 5u);

    state->enterStateWithTime(7000, "buffering");  // equal times are a zero interval
    state->exitStateWithTime(7000, "buffering");
    EXPECT_EQ(state->stateHistory().at(1)->duration(), 0);
}

TEST_F(QMStateTest, ExitBeforeEntranceThrowsWithTheStoredExitTimeAndKeepsTheIntervalOpen) {
    state->enterStateWithTime(5000, "buffering");
    EXPECT_EQ(thrownBy<QMIllegalTimeStampException>([&] { state->exitStateWithTime(4000, "buffering"); }),
              "QMIllegalTimeStampException: End timestamp is sooner that start timestamp. [0] < [5000]");
    EXPECT_TRUE(state->isInState());
    EXPECT_TRUE(state->stateHistory().empty());

    QMStateHistoryEntry entry;  // closed once, then moved: the old exit time is reported
    entry.setEntranceTime(100);
    entry.setExitTime(200);
    entry.setEntranceTime(300);
    EXPECT_EQ(thrownBy<QMIllegalTimeStampException>([&] { entry.setExitTime(250); }),
              "QMIllegalTimeStampException: End timestamp is sooner that start timestamp. [200] < [300]");
    EXPECT_EQ(entry.duration(), 100);
}

TEST_F(QMStateTest, TotalsAndAverageCountTheOpenIntervalUpToTheCall) {
    EXPECT_TRUE(std::isnan(state->getStateAverageTime()));
    state->enterStateWithTime(now(), "buffering");
    runFor(300);
    state->exitStateWithTime(now(), "buffering");
    state->enterStateWithTime(now(), "buffering");
    runFor(100);
    EXPECT_EQ(state->getStateTotalTime(), 400);
    EXPECT_DOUBLE_EQ(state->getStateAverageTime(), 200.0);
    runFor(50);
    EXPECT_EQ(state->getStateTotalTime(), 450);
    state->exitStateWithTime(now(), "buffering");
    runFor(1000);
    EXPECT_EQ(state->getStateTotalTime(), 450);
    EXPECT_DOUBLE_EQ(state->getStateAverageTime(), 225.0);

    state->enterStateWithTime(now(), "buffering");
    runFor(40);
    state->clearHistory();  // the open interval survives
    EXPECT_EQ(state->getStateTotalTime(), 40);
    EXPECT_EQ(state->getStateEntranceCount(), 1);
    EXPECT_DOUBLE_EQ(state->getStateAverageTime(), 40.0);
}

}  // namespace veyrakit
