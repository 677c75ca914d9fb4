#include <gtest/gtest.h>

#include "players/avplayer/QMAVPlayerFullScreenMetric.h"
#include "unit/avplayer/QMAVPlayerMetricTest.h"

namespace veyrakit {

using QMAVPlayerFullScreenMetricTest = QMAVPlayerMetricTest;

TEST_F(QMAVPlayerFullScreenMetricTest, CountsOnlyPlayingUnbufferedFullScreenTimeCutAtReports) {
    makePlayable();
    const std::size_t itemObservations = item->observationCount();
    const std::size_t playerObservations = player->observationCount();
    auto metric = std::make_shared<QMAVPlayerFullScreenMetric>();
    metric->startMetricCollection();
    metric->onSizeChanged(true);  // while paused: nothing yet
    runFor(2'000);
    EXPECT_EQ(collect(*metric), "{}");
    player->play();
    runFor(3'000);
    EXPECT_EQ(collect(*metric), R"({"totalFullScreenTime":"3000","currentFullScreenTime":"3000"})");

    // Buffering closes both states; recovery re-opens them without a new size event.
    runFor(1'000);
    makeStalled();
    runFor(1'000);
    makePlayable();
    runFor(2'000);
    EXPECT_EQ(values(*metric), "6000 3000");
    runFor(1'000);
    metric->onSizeChanged(false);
    runFor(500);
    metric->onSizeChanged(false);
    runFor(500);
    EXPECT_EQ(values(*metric), "7000 1000");
    metric->onSizeChanged(true);
    runFor(4'000);
    player->pause();
    runFor(1'000);
    EXPECT_EQ(values(*metric), "11000 4000");

    metric->stopMetricCollection();
    EXPECT_EQ(item->observationCount(), itemObservations);
    EXPECT_EQ(player->observationCount(), playerObservations);
}

}  // namespace veyrakit
