#include <gtest/gtest.h>

#include "players/avplayer/QMAVPlayerViewingTimeMetric.h"
#include "unit/avplayer/QMAVPlayerMetricTest.h"

namespace veyrakit {

using QMAVPlayerViewingTimeMetricTest = QMAVPlayerMetricTest;
using Metric = QMAVPlayerViewingTimeMetric;

TEST_F(QMAVPlayerViewingTimeMetricTest, CountsDistinctSecondsWithTheHalfSecondRuleForTheInterval) {
    makePlayable();
    player->play();
    const std::size_t itemObservations = item->observationCount();
    const std::size_t playerObservations = player->observationCount();
    auto metric = std::make_shared<Metric>();
    metric->startMetricCollection();
    // Ticks at 0.25 s .. 10.25 s: seconds 0 to 10 seen, 10 only in its first half.
    runFor(10'300);
    EXPECT_EQ(
        collect(*metric),
        R"({"totalPlayingTime":"10300","currentPlayingTime":"10300","totalViewedTime":"11000","currentViewedTime":"10000"})");

    // Second 12 meets only the jump to 12.30 s and a tick at exactly 12.50 s: total only. After a
    // seek back, the jump to 7.20 s and the tick at 7.50 s add nothing new to the total and the
    // tick at 7.75 s counts for the interval.
    player->seekToTime(CMTimeMakeWithSeconds(12.3, kCMTimeMaxTimescale));
    runFor(200);
    player->seekToTime(CMTimeMakeWithSeconds(7.2, kCMTimeMaxTimescale));
    runFor(500);
    EXPECT_EQ(metric->currentViewedTimeMap(), Metric::ViewedTimeMap{});
    runFor(50);
    EXPECT_EQ(metric->currentViewedTimeMap(), Metric::ViewedTimeMap{7});
    EXPECT_EQ(values(*metric), "11050 750 12000 1000");
    player->pause();  // a standing playhead adds nothing
    runFor(5'000);
    EXPECT_EQ(values(*metric), "11050 0 12000 0");

    metric->stopMetricCollection();
    EXPECT_EQ(item->observationCount(), itemObservations);
    EXPECT_EQ(player->observationCount(), playerObservations);
    EXPECT_EQ(player->timeObserverCount(), 0u);
    std::weak_ptr<Metric> released = metric;
    metric.reset();
    EXPECT_TRUE(released.expired());
}

TEST_F(QMAVPlayerViewingTimeMetricTest, PlayingExcludesWaitingForDataAndAPauseThenKeepsWaiting) {
    auto metric = std::make_shared<Metric>();
    metric->startMetricCollection();  // empty buffer, rate 0: "buffering"
    runFor(1'000);
    player->play();
    EXPECT_TRUE(metric->isLastActiveState(Metric::STATE_PLAYING_BUFFERING()));
    runFor(1'500);
    makePlayable();
    runFor(1'500);
    makeStalled();
    runFor(1'000);
    player->pause();
    EXPECT_TRUE(metric->isLastActiveState(Metric::STATE_PLAYING_BUFFERING()));
    runFor(1'000);
    player->play();  // playing again while still waiting for data
    EXPECT_TRUE(metric->isLastActiveState(Metric::STATE_PLAYING_BUFFERING()));
    runFor(1'000);
    makePlayable();
    EXPECT_FALSE(metric->isLastActiveState(Metric::STATE_PLAYING_BUFFERING()));
    // Playing 2.5-4 s and 6-10 s; the playhead moved 2.5-4 s and 7-10 s (to 4.5 s).
    runFor(3'000);
    EXPECT_EQ(values(*metric), "5500 5500 5000 4000");
    metric->stopMetricCollection();
}

TEST_F(QMAVPlayerViewingTimeMetricTest, AnAdvertisementFreezesTheValuesForOneReportThenReportsNothing) {
    makePlayable();
    player->play();
    auto metric = std::make_shared<Metric>();
    metric->startMetricCollection();
    runFor(3'000);
    metric->pauseMetricCollection();
    runFor(1'000);
    player->pause();
    EXPECT_EQ(linesStartingWith("I IR"),
              std::vector<std::string>{"I IR\t{viewTime metric disable}{2023-11-14T22:13:24.000Z}"});
    player->play();
    runFor(6'000);
    EXPECT_EQ(values(*metric), "3000 3000 4000 3000");
    runFor(10'000);
    EXPECT_EQ(collect(*metric), "{}");
    // Playing resumes only with the next change of the rate.
    metric->resumeMetricCollection();
    runFor(2'000);
    EXPECT_EQ(values(*metric), "3000 0 4000 0");
    player->pause();
    player->play();  // the playhead is at 21 s by now
    runFor(2'000);
    EXPECT_EQ(values(*metric), "5000 2000 7000 2000");
    metric->stopMetricCollection();
}

}  // namespace veyrakit
