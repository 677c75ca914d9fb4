#include <gtest/gtest.h>

#include "platform/QMException.h"
#include "players/avplayer/QMAVPlayerTimeUtilMetric.h"
#include "unit/avplayer/QMAVPlayerMetricTest.h"

namespace veyrakit {

using QMAVPlayerTimeUtilMetricTest = QMAVPlayerMetricTest;

TEST_F(QMAVPlayerTimeUtilMetricTest, ReportsElapsedTimesThePeriodAndTheMinuteLivenessFlag) {
    auto metric = std::make_shared<QMAVPlayerTimeUtilMetric>();
    EXPECT_THROW(metric->collectMetric(), QMIllegalStateException);  // nothing entered before the start
    const std::size_t timers = loop->timerCount();
    metric->startMetricCollection();
    EXPECT_EQ(loop->timerCount(), timers + 1);

    runFor(10'000);
    EXPECT_EQ(
        collect(*metric),
        R"({"currentElapsedTime":"10000","totalElapsedTime":"10000","periodDuration":"10","alive":"1"})");
    runFor(5'000);
    EXPECT_EQ(values(*metric), "5000 15000 10 0");
    INTERVAL_LENGTH = 20;
    runFor(20'000);
    EXPECT_EQ(values(*metric), "20000 35000 20 0");
    // The tick at 60 s only marks the next report.
    runFor(24'999);
    EXPECT_FALSE(metric->alive());
    runFor(1);
    EXPECT_TRUE(metric->alive());
    runFor(5'000);
    EXPECT_EQ(values(*metric), "30000 65000 20 1");
    runFor(20'000);
    EXPECT_EQ(values(*metric), "20000 85000 20 0");

    metric->stopMetricCollection();
    EXPECT_EQ(loop->timerCount(), timers);
    std::weak_ptr<QMAVPlayerTimeUtilMetric> released = metric;
    metric.reset();
    EXPECT_TRUE(released.expired());
}

}  // namespace veyrakit
