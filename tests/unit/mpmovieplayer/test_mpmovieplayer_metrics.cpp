#include <gtest/gtest.h>

#include "platform/QMException.h"
#include "players/mpmovieplayer/QMMPMoviePlayerBitrateMetric.h"
#include "players/mpmovieplayer/QMMPMoviePlayerBufferingMetric.h"
#include "players/mpmovieplayer/QMMPMoviePlayerFullScreenMetric.h"
#include "players/mpmovieplayer/QMMPMoviePlayerPlaybackMetric.h"
#include "players/mpmovieplayer/QMMPMoviePlayerTimeUtilMetric.h"
#include "players/mpmovieplayer/QMMPMoviePlayerViewingTimeMetric.h"
#include "unit/mpmovieplayer/QMMPMoviePlayerSessionTest.h"
#include "veyrakit/platform/mediaplayer/MPMoviePlayerNotifications.h"

namespace veyrakit {

namespace {

// Metrics made one by one for the current movie player plugin and driven through its player;
// the plugin's own metrics start only when a test plays the player.
class QMMPMoviePlayerMetricTest : public QMMPMoviePlayerSessionTest {
  protected:
    void addAccessLogEntry(double bitrate) {
        auto event = std::make_shared<MPMovieAccessLogEvent>();
        event->setIndicatedBitrate(bitrate);
        player->addAccessLogEvent(event);
    }
    void finish(MPMovieFinishReason reason) {
        QMNotificationCenter::defaultCenter()->postNotificationName(
            MPMoviePlayerPlaybackDidFinishNotification, player,
            {{MPMoviePlayerPlaybackDidFinishReasonUserInfoKey, static_cast<long>(reason)}});
    }
    static std::string collect(QMMetric& metric) {
        auto values = metric.collectMetric();
        return values ? values->dump() : "none";
    }
    static std::string lastEntered(const QMStatefulMetric& metric) {
        return metric.lastActiveState() ? metric.lastActiveState()->name() : "none";
    }

    std::shared_ptr<MPMoviePlayerController> player =
        std::make_shared<MPMoviePlayerController>(QMURL::URLWithString("https://cdn.example/v/index.m3u8"));
};

}  // namespace

TEST_F(QMMPMoviePlayerMetricTest, BufferingComparesLoadStatesByEqualityAndEndsOnAPlaybackErrorOnly) {
    monitor(player);
    auto metric = std::make_shared<QMMPMoviePlayerBufferingMetric>();
    player->setLoadState(MPMovieLoadStateStalled);
    metric->startMetricCollection();
    EXPECT_TRUE(metric->isInBufferingMode());
    runFor(1'000);
    player->setLoadState(
        static_cast<MPMovieLoadState>(MPMovieLoadStatePlayable | MPMovieLoadStatePlaythroughOK));
    EXPECT_TRUE(metric->isInBufferingMode());  // 3 is neither 1 nor 2
    EXPECT_EQ(collect(*metric), "{}");         // nothing before the join
    runFor(500);
    player->setLoadState(MPMovieLoadStatePlaythroughOK);
    EXPECT_EQ(metric->viewerJoinTime(), 1'500);
    EXPECT_EQ(metric->unsentJoinTimeReport()->dump(), R"({"type":"J","joinTime":1500})");
    player->setLoadState(MPMovieLoadStateStalled);
    runFor(1'000);
    finish(MPMovieFinishReasonUserExited);
    EXPECT_TRUE(metric->isInBufferingMode());
    runFor(1'000);
    finish(MPMovieFinishReasonPlaybackError);
    EXPECT_FALSE(metric->isInBufferingMode());
    runFor(1'000);
    // The whole event and the interval: both 2000, the latter written last under one key.
    EXPECT_EQ(collect(*metric), R"({"totalBufferingTime":"2000","currentBufferingTime":"2000"})");
    // A playback error before any buffering: the states do not exist.
    EXPECT_THROW(std::make_shared<QMMPMoviePlayerBufferingMetric>()->handleMediaError(),
                 QMIllegalStateException);
    metric->stopMetricCollection();
}

TEST_F(QMMPMoviePlayerMetricTest, ViewingTimeTicksOnThePlaybackTimeFromZeroPointZero) {
    monitor(player);
    player->setLoadState(MPMovieLoadStatePlayable);
    auto metric = std::make_shared<QMMPMoviePlayerViewingTimeMetric>();
    const std::size_t timers = loop->timerCount();
    metric->startMetricCollection();
    EXPECT_EQ(loop->timerCount(), timers + 1);
    EXPECT_TRUE(metric->isInPlayingMode());  // playable at the start counts as playing
    runFor(1'000);                           // the playhead stands at 0.0: taken as not moved
    EXPECT_TRUE(metric->totalViewedTimeMap().empty());
    player->setCurrentPlaybackTime(7.40);
    runFor(250);
    player->setCurrentPlaybackTime(8.65);
    runFor(250);
    EXPECT_EQ(metric->totalViewedTimeMap(), (QMMPMoviePlayerViewingTimeMetric::ViewedTimeMap{7, 8}));
    EXPECT_EQ(metric->currentViewedTimeMap(), QMMPMoviePlayerViewingTimeMetric::ViewedTimeMap{8});
    EXPECT_DOUBLE_EQ(metric->lastCurrentTime(), 8.65);
    metric->stopMetricCollection();
    EXPECT_EQ(loop->timerCount(), timers);
}

// Load state 2 at the start is neither buffering nor playing; stalled at the start buffers, an
// unpause then waits for data in "playing_buffering", and the load state's recovery plays.
TEST_F(QMMPMoviePlayerMetricTest, ViewingTimeFromBufferingThroughAnUnpauseWhileStalledToPlayback) {
    answerSession(0);
    player->setLoadState(MPMovieLoadStatePlaythroughOK);
    monitor(player);
    auto idle = std::make_shared<QMMPMoviePlayerViewingTimeMetric>();
    idle->startMetricCollection();
    EXPECT_FALSE(idle->isInPlayingMode());
    for (const char* state : {"buffering", "playing_buffering", "playing", "currentPlaying"})
        EXPECT_EQ(idle->loadState(state), nullptr) << state;
    idle->stopMetricCollection();

    player->setLoadState(MPMovieLoadStateStalled);
    auto metric = std::make_shared<QMMPMoviePlayerViewingTimeMetric>();
    metric->startMetricCollection();
    EXPECT_EQ(lastEntered(*metric), "buffering");
    runFor(1'000);
    player->play();
    EXPECT_EQ(lastEntered(*metric), "playing_buffering");
    EXPECT_FALSE(metric->loadState("buffering")->isInState());
    EXPECT_FALSE(metric->isInPlayingMode());
    runFor(1'500);
    player->setLoadState(MPMovieLoadStatePlayable);
    EXPECT_EQ(lastEntered(*metric), "currentPlaying");
    EXPECT_TRUE(metric->isInPlayingMode());
    EXPECT_FALSE(metric->loadState("playing_buffering")->isInState());
    EXPECT_EQ(metric->loadState("playing_buffering")->getStateTotalTime(), 1'500);
    runFor(2'000);
    const QMJSON values = metric->collectMetric().value();
    EXPECT_EQ(values["totalPlayingTime"], "2000");
    EXPECT_EQ(values["currentPlayingTime"], "2000");
    EXPECT_EQ(metric->loadState("buffering")->getStateTotalTime(), 1'000);
    metric->stopMetricCollection();
}

// The view's size is known only from the player's full-screen notifications: one already full
// screen at the start is not counted, even while the player plays from the start on.
TEST_F(QMMPMoviePlayerMetricTest, FullScreenCountsFromTheNextEntranceToTheExitNotification) {
    player->setFullscreen(true, false);
    player->play();
    monitor(player);
    auto metric = std::make_shared<QMMPMoviePlayerFullScreenMetric>();
    metric->startMetricCollection();
    EXPECT_TRUE(metric->isPlaying());
    EXPECT_FALSE(metric->isFullScreen());
    runFor(1'000);
    EXPECT_EQ(collect(*metric), "{}");
    player->setFullscreen(false, false);
    player->setFullscreen(true, false);
    runFor(2'000);
    player->setFullscreen(false, false);
    EXPECT_FALSE(metric->isFullScreen());
    EXPECT_EQ(lastEntered(*metric), "none");
    runFor(1'000);
    EXPECT_EQ(collect(*metric), R"({"totalFullScreenTime":"2000","currentFullScreenTime":"2000"})");
    metric->stopMetricCollection();
}

TEST_F(QMMPMoviePlayerMetricTest, EveryCompletionSendsALastReportAndDestroys) {
    answerSession(0);
    monitor(player);
    player->play();
    player->setDuration(90.7);
    runFor(1'000);
    auto metric = std::dynamic_pointer_cast<QMMPMoviePlayerPlaybackMetric>(
        plugin()->metricManager()->metricForKey(QMMetricManager::PLAYBACK_METRIC_KEY));
    player->pause();
    player->setDuration(120.0);  // a second notification: no second "D", the duration stands
    metric->stopPlayback();
    metric->stopPlayback();  // the guard is lowered, never raised
    EXPECT_EQ(count("I T playback completed. Last P"), 2);
    EXPECT_FALSE(metric->unScheduledPeriodicalSent());
    EXPECT_TRUE(plugin()->destroyed());
    // The duration held for the session id, S, the first P, then the last report; the second
    // completion finds no reporter left.
    const std::string elapsed = R"("totalViewedTime":"0","currentViewedTime":"0","currentElapsedTime":)";
    EXPECT_EQ(
        bodies("/player/report"),
        (Strings{
            R"({"sessionId":"S-1","type":"D","duration":"90","pulseNumber":1})",
            R"({"sessionId":"S-1","type":"S","pulseNumber":2})",
            R"({"type":"P","sessionId":"S-1","playing":true,"assetDuration":"90",)" + elapsed +
                R"("0","totalElapsedTime":"0","periodDuration":"10","periodicalNumber":1,"pulseNumber":3})",
            R"({"type":"P","sessionId":"S-1","playing":false,"assetDuration":"90","playbackCompleted":true,)" +
                elapsed +
                R"("1000","totalElapsedTime":"1000","periodDuration":"10","periodicalNumber":2,"pulseNumber":4})"}));
}

TEST_F(QMMPMoviePlayerMetricTest, BitrateIsReadAtCollectionWithoutSignCheckAndLoadStatesForceReports) {
    answerSession(5'000);
    monitor(player);
    auto metric = std::make_shared<QMMPMoviePlayerBitrateMetric>();
    EXPECT_EQ(collect(*metric), "none");
    metric->onAvailableBitratesReady(QMJSON::array({800000, 1500000}));
    addAccessLogEntry(-1.0);  // not known yet: reported as it is
    EXPECT_EQ(collect(*metric), R"({"currentBitRate":-1})");
    // The first load-state change with a log entry only makes the bitrate known.
    player->setLoadState(MPMovieLoadStatePlayable);
    EXPECT_EQ(metric->lastBitRate(), -1);
    runFor(5'000);
    EXPECT_EQ(count("Sending Bitrate report, session is S-1, report tyep is B"), 1);
    addAccessLogEntry(1'500'000.9);
    // Any player's load state counts, and forces a report.
    auto other = std::make_shared<MPMoviePlayerController>(QMURL::URLWithString("https://cdn.example/o.mp4"));
    other->setLoadState(MPMovieLoadStateStalled);
    EXPECT_EQ(metric->lastBitRate(), 1'500'000);
    other->setLoadState(MPMovieLoadStatePlayable);  // the same bitrate forces one as well
    EXPECT_EQ(bodies("/player/report"),
              (Strings{R"({"sessionId":"S-1","type":"B","bitrates":[800000,1500000],"pulseNumber":1})",
                       R"({"type":"P","sessionId":"S-1","periodicalNumber":1,"pulseNumber":2})",
                       R"({"type":"P","sessionId":"S-1","periodicalNumber":2,"pulseNumber":3})"}));
    EXPECT_EQ(collect(*metric), R"({"currentBitRate":1500000})");
}

TEST_F(QMMPMoviePlayerMetricTest, ElapsedTimeReportsNoAliveAndItsMinuteTimerRaisesTheFlag) {
    monitor(player);
    const std::size_t timers = loop->timerCount();
    auto metric = std::make_shared<QMMPMoviePlayerTimeUtilMetric>();
    metric->startMetricCollection();
    EXPECT_EQ(loop->timerCount(), timers + 1);
    const auto timer = metric->timer();
    ASSERT_NE(timer, nullptr);
    EXPECT_TRUE(timer->repeats());
    EXPECT_DOUBLE_EQ(timer->timeInterval(), 60.0);
    const int64_t firstTick = timer->fireTimeMicros();
    runFor(10'000);
    EXPECT_EQ(collect(*metric),
              R"({"currentElapsedTime":"10000","totalElapsedTime":"10000","periodDuration":"10"})");
    EXPECT_TRUE(metric->alive());  // raised at start and never lowered by a report
    runFor(60'000);
    EXPECT_EQ(timer->fireTimeMicros(), firstTick + 60'000'000);  // it ticked once
    EXPECT_TRUE(metric->alive());
    // The running timer holds the metric; stopping it lets the metric go.
    std::weak_ptr<QMMPMoviePlayerTimeUtilMetric> released = metric;
    metric.reset();
    ASSERT_FALSE(released.expired());
    released.lock()->stopMetricCollection();
    EXPECT_FALSE(timer->isValid());
    EXPECT_EQ(loop->timerCount(), timers);
    EXPECT_TRUE(released.expired());
}

}  // namespace veyrakit
