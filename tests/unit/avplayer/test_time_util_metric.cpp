#include <gtest/gtest.h>

#include "platform/QMException.h"
#include "players/avplayer/QMAVPlayerTimeUtilMetric.h"
#include "unit/avplayer/QMAVPlayerMetricTest.h"

using QMAVPlayerTimeUtilMetricTest = QMAVPlayerMetricTest;

TEST_F(QMAVPlayerTimeUtilMetricTest, ReportsElapsedTimesPeriodAndTheMinuteLivenessFlag) {
    auto metric = std::make_shared<QMAVPlayerTimeUtilMetric>();
    EXPECT_EQ(metric->plugin(), plugin);
    metric->startMetricCollection();

    runFor(10'000);
    EXPECT_EQ(collect(*metric),
              R"({"currentElapsedTime":"10000","totalElapsedTime":"10000","periodDuration":"10","alive":"1"})");
    runFor(5'000);
    EXPECT_EQ(collect(*metric),
              R"({"currentElapsedTime":"5000","totalElapsedTime":"15000","periodDuration":"10","alive":"0"})");

    // The period follows the shared setting at the time of each report.
    INTERVAL_LENGTH = 20;
    runFor(20'000);
    EXPECT_EQ(collect(*metric),
              R"({"currentElapsedTime":"20000","totalElapsedTime":"35000","periodDuration":"20","alive":"0"})");

    // The minute tick at 60 s only marks the next report; the one after is "0" again.
    runFor(24'999);
    EXPECT_FALSE(metric->alive());
    runFor(1);
    EXPECT_TRUE(metric->alive());
    runFor(5'000);
    EXPECT_EQ(collect(*metric),
              R"({"currentElapsedTime":"30000","totalElapsedTime":"65000","periodDuration":"20","alive":"1"})");
    runFor(20'000);
    EXPECT_EQ(collect(*metric),
              R"({"currentElapsedTime":"20000","totalElapsedTime":"85000","periodDuration":"20","alive":"0"})");
}

TEST_F(QMAVPlayerTimeUtilMetricTest, StopInvalidatesTheMinuteTimerAndReleasesTheMetric) {
    auto metric = std::make_shared<QMAVPlayerTimeUtilMetric>();
    try {
        metric->collectMetric();
        FAIL() << "a report before the start must throw";
    } catch (const QMIllegalStateException& e) {
        EXPECT_EQ(e.reason(), "QMState currentElapsed does not exists.");
    }

    metric->startMetricCollection();
    EXPECT_EQ(loop->timerCount(), baseTimers + 1);
    metric->stopMetricCollection();
    EXPECT_EQ(loop->timerCount(), baseTimers);

    // The states stay open: the elapsed time goes on counting after the stop.
    runFor(70'000);
    EXPECT_EQ(collect(*metric),
              R"({"currentElapsedTime":"70000","totalElapsedTime":"70000","periodDuration":"10","alive":"1"})");
    std::weak_ptr<QMAVPlayerTimeUtilMetric> released = metric;
    metric.reset();
    EXPECT_TRUE(released.expired());
}
