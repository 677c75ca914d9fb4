#include <gtest/gtest.h>

#include "players/avplayer/QMAVPlayerFullScreenMetric.h"
#include "unit/avplayer/QMAVPlayerMetricTest.h"

using QMAVPlayerFullScreenMetricTest = QMAVPlayerMetricTest;

TEST_F(QMAVPlayerFullScreenMetricTest, CountsOnlyPlayingUnbufferedFullScreenTimeAndCutsItAtReports) {
    makePlayable();
    auto metric = std::make_shared<QMAVPlayerFullScreenMetric>();
    metric->startMetricCollection();

    // Full screen while paused starts nothing.
    metric->onSizeChanged(true);
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
    EXPECT_EQ(collect(*metric), R"({"totalFullScreenTime":"6000","currentFullScreenTime":"3000"})");

    runFor(1'000);
    metric->onSizeChanged(false);
    runFor(500);
    metric->onSizeChanged(false);
    runFor(500);
    EXPECT_EQ(collect(*metric), R"({"totalFullScreenTime":"7000","currentFullScreenTime":"1000"})");

    // Back to full screen while playing, then a pause: the rate observation ends the period.
    metric->onSizeChanged(true);
    runFor(4'000);
    player->pause();
    runFor(1'000);
    EXPECT_EQ(collect(*metric), R"({"totalFullScreenTime":"11000","currentFullScreenTime":"4000"})");
    EXPECT_FALSE(metric->isPlaying());
    EXPECT_TRUE(metric->isFullScreen());

    metric->stopMetricCollection();
    EXPECT_EQ(item->observationCount(), baseItemObservations);
    EXPECT_EQ(player->observationCount(), basePlayerObservations);
    player->play();
    runFor(1'000);
    EXPECT_FALSE(metric->isPlaying());
}

TEST_F(QMAVPlayerFullScreenMetricTest, TakesThePlayersConditionAtStart) {
    // A playing player with an empty buffer: playing, but buffering, so nothing counts yet.
    player->play();
    auto metric = std::make_shared<QMAVPlayerFullScreenMetric>();
    metric->startMetricCollection();
    EXPECT_TRUE(metric->isPlaying());
    EXPECT_TRUE(metric->isBuffering());
    metric->onSizeChanged(true);
    runFor(1'000);
    item->setPlaybackBufferFull(true);  // a full buffer alone is enough here
    runFor(2'000);
    EXPECT_EQ(collect(*metric), R"({"totalFullScreenTime":"2000","currentFullScreenTime":"2000"})");
    metric->stopMetricCollection();
}
