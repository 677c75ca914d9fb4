#include <gtest/gtest.h>

#include "players/avplayer/QMAVPlayerViewingTimeMetric.h"
#include "unit/avplayer/QMAVPlayerMetricTest.h"

using QMAVPlayerViewingTimeMetricTest = QMAVPlayerMetricTest;
using Metric = QMAVPlayerViewingTimeMetric;

namespace {
CMTime seconds(double value) { return CMTimeMakeWithSeconds(value, kCMTimeMaxTimescale); }
}  // namespace

TEST_F(QMAVPlayerViewingTimeMetricTest, CountsDistinctSecondsWithTheHalfSecondRuleForTheInterval) {
    makePlayable();
    player->play();
    auto metric = std::make_shared<Metric>();
    metric->startMetricCollection();
    EXPECT_EQ(player->timeObserverCount(), 1u);

    // Ticks at 0.25 s .. 10.25 s: seconds 0 to 10 seen; 10 only in its first half.
    runFor(10'300);
    EXPECT_EQ(collect(*metric),
              R"({"totalPlayingTime":"10300","currentPlayingTime":"10300","totalViewedTime":"11000","currentViewedTime":"10000"})");

    // Second 12 meets only a tick at exactly 12.50 s, not past its first 500 ms: total only.
    // After a seek back, 7.45 s adds nothing new to the total; 7.70 s counts for the interval.
    player->seekToTime(seconds(12.3));
    runFor(200);
    player->seekToTime(seconds(7.2));
    runFor(500);
    EXPECT_EQ(metric->currentViewedTimeMap(), Metric::ViewedTimeMap{"7"});
    EXPECT_EQ(collect(*metric),
              R"({"totalPlayingTime":"11000","currentPlayingTime":"700","totalViewedTime":"12000","currentViewedTime":"1000"})");

    // A standing playhead adds nothing.
    player->pause();
    runFor(5'000);
    EXPECT_EQ(collect(*metric),
              R"({"totalPlayingTime":"11000","currentPlayingTime":"0","totalViewedTime":"12000","currentViewedTime":"0"})");

    metric->stopMetricCollection();
    EXPECT_EQ(item->observationCount(), baseItemObservations);
    EXPECT_EQ(player->observationCount(), basePlayerObservations);
    EXPECT_EQ(player->timeObserverCount(), 0u);
    EXPECT_EQ(loop->timerCount(), baseTimers);
    std::weak_ptr<Metric> released = metric;
    metric.reset();
    EXPECT_TRUE(released.expired());
}

TEST_F(QMAVPlayerViewingTimeMetricTest, PlayingExcludesBufferingAndAPauseWhileWaitingForDataKeepsItWaiting) {
    auto metric = std::make_shared<Metric>();
    metric->startMetricCollection();  // empty buffer, rate 0: "buffering"
    EXPECT_TRUE(metric->isLastActiveState(Metric::STATE_BUFFERING()));

    runFor(1'000);
    player->play();
    EXPECT_TRUE(metric->isLastActiveState(Metric::STATE_PLAYING_BUFFERING()));
    EXPECT_FALSE(metric->isInPlayingMode());
    runFor(1'500);
    makePlayable();
    EXPECT_TRUE(metric->isInPlayingMode());
    runFor(1'500);
    makeStalled();
    EXPECT_TRUE(metric->isLastActiveState(Metric::STATE_PLAYING_BUFFERING()));
    EXPECT_FALSE(metric->isLastActiveState(Metric::STATE_PLAYING()));

    runFor(1'000);
    player->pause();
    EXPECT_TRUE(metric->isLastActiveState(Metric::STATE_PLAYING_BUFFERING()));
    runFor(1'000);
    player->play();  // playing again while still waiting for data
    EXPECT_TRUE(metric->isLastActiveState(Metric::STATE_PLAYING()));
    EXPECT_TRUE(metric->isLastActiveState(Metric::STATE_PLAYING_BUFFERING()));
    runFor(1'000);
    makePlayable();
    EXPECT_FALSE(metric->isLastActiveState(Metric::STATE_PLAYING_BUFFERING()));

    // Playing 2.5-4 s and 6-10 s; the playhead moved 2.5-4 s and 7-10 s (positions 0-4.5 s).
    runFor(3'000);
    EXPECT_EQ(collect(*metric),
              R"({"totalPlayingTime":"5500","currentPlayingTime":"5500","totalViewedTime":"5000","currentViewedTime":"4000"})");
    metric->stopMetricCollection();
}

TEST_F(QMAVPlayerViewingTimeMetricTest, AnAdvertisementFreezesTheValuesForOneReportThenReportsNothing) {
    makePlayable();
    player->play();
    auto metric = std::make_shared<Metric>();
    metric->startMetricCollection();
    runFor(3'000);
    metric->pauseMetricCollection();
    const std::string frozen =
        R"({"totalPlayingTime":"3000","currentPlayingTime":"3000","totalViewedTime":"4000","currentViewedTime":"3000"})";
    EXPECT_EQ(QMJSONSerialization::dataWithJSONObject(metric->resultBeforAds()), frozen);

    runFor(1'000);
    player->pause();
    runFor(1'000);
    player->play();
    EXPECT_EQ(linesStartingWith("I IR\t"),
              (std::vector<std::string>{"I IR\t{viewTime metric disable}{2023-11-14T22:13:24.000Z}",
                                        "I IR\t{viewTime metric disable}{2023-11-14T22:13:25.000Z}"}));
    runFor(5'000);
    EXPECT_EQ(collect(*metric), frozen);
    runFor(10'000);
    EXPECT_EQ(collect(*metric), "{}");

    // Resuming does not resume playing: that waits for the next change of the rate.
    metric->resumeMetricCollection();
    runFor(2'000);
    EXPECT_EQ(collect(*metric),
              R"({"totalPlayingTime":"3000","currentPlayingTime":"0","totalViewedTime":"4000","currentViewedTime":"0"})");
    player->pause();
    player->play();  // the playhead is at 21 s by now
    runFor(2'000);
    EXPECT_EQ(collect(*metric),
              R"({"totalPlayingTime":"5000","currentPlayingTime":"2000","totalViewedTime":"7000","currentViewedTime":"2000"})");
    metric->stopMetricCollection();
}
