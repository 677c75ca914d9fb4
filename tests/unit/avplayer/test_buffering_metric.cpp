#include <gtest/gtest.h>

#include "platform/QMException.h"
#include "players/avplayer/QMAVPlayerBufferingMetric.h"
#include "unit/avplayer/QMAVPlayerMetricTest.h"

using QMAVPlayerBufferingMetricTest = QMAVPlayerMetricTest;

TEST_F(QMAVPlayerBufferingMetricTest, JoinTimeReportIsHeldBackUntilTheSessionIdArrivesAndSentOnce) {
    startSessionExchange(5'000);
    const std::size_t pluginObservations = plugin->observationCount();
    auto metric = std::make_shared<QMAVPlayerBufferingMetric>();
    metric->startMetricCollection();  // a new item's buffer is empty: buffering from now on
    EXPECT_EQ(collect(*metric), "{}");

    runFor(1'200);
    makePlayable();
    EXPECT_EQ(metric->viewerJoinTime(), 1200);
    EXPECT_EQ(metric->unsentJoinTimeReport(), QMJSON::parse(R"({"type":"J","joinTime":1200})"));
    EXPECT_TRUE(reportBodies().empty());
    // The wait before the join is not buffering of the session.
    EXPECT_EQ(collect(*metric), R"({"totalBufferingTime":"0","bufferingTimeLeadingToNow":"0","currentBufferingTime":"0"})");

    runFor(3'800);
    EXPECT_EQ(reportBodies(), std::vector<std::string>{R"({"sessionId":"S-1","type":"J","joinTime":1200,"pulseNumber":1})"});
    EXPECT_EQ(linesStartingWith("I J\t"), std::vector<std::string>{"I J\t{JT:'1200', }{2023-11-14T22:13:25.000Z}"});
    EXPECT_EQ(linesStartingWith("I JR\t"), std::vector<std::string>{"I JR\t{}{2023-11-14T22:13:25.000Z}"});
    EXPECT_FALSE(metric->unsentJoinTimeReport());
    EXPECT_EQ(plugin->observationCount(), pluginObservations);

    plugin->setSessionId("S-2");
    runFor(1'000);
    EXPECT_EQ(reportBodies().size(), 1u);
    metric->stopMetricCollection();  // the session id observation is not removed twice
    EXPECT_EQ(item->observationCount(), baseItemObservations);
}

TEST_F(QMAVPlayerBufferingMetricTest, APlayableItemJoinsAtOnceWithJoinTimeZero) {
    startSessionExchange(0);
    runFor(10);
    const std::size_t pluginObservations = plugin->observationCount();
    makePlayable();
    auto metric = std::make_shared<QMAVPlayerBufferingMetric>();
    EXPECT_EQ(plugin->observationCount(), pluginObservations + 1);
    metric->startMetricCollection();
    runFor(10);
    EXPECT_EQ(reportBodies(), std::vector<std::string>{R"({"sessionId":"S-1","type":"J","joinTime":0,"pulseNumber":1})"});

    metric->stopMetricCollection();
    EXPECT_EQ(item->observationCount(), baseItemObservations);
    EXPECT_EQ(plugin->observationCount(), pluginObservations);
}

TEST_F(QMAVPlayerBufferingMetricTest, ABufferingEventSpanningTwoReportsIsCutPerIntervalAndWholeLeadingToNow) {
    makePlayable();
    auto metric = std::make_shared<QMAVPlayerBufferingMetric>();
    metric->startMetricCollection();
    runFor(1'000);
    makeStalled();
    runFor(500);
    item->setPlaybackBufferEmpty(false);
    item->setPlaybackBufferEmpty(true);  // a second buffering event does not restart the interval
    runFor(8'500);
    EXPECT_EQ(collect(*metric),
              R"({"totalBufferingTime":"9000","bufferingTimeLeadingToNow":"9000","currentBufferingTime":"9000"})");
    runFor(3'000);
    makePlayable();
    runFor(7'000);
    EXPECT_EQ(collect(*metric),
              R"({"totalBufferingTime":"12000","bufferingTimeLeadingToNow":"12000","currentBufferingTime":"3000"})");

    // A playback event without buffering before it exits three closed states.
    item->setPlaybackBufferFull(true);
    EXPECT_EQ(linesStartingWith("E SV\t"),
              (std::vector<std::string>{"E SV\t{exit from state that not enter: buffering}{2023-11-14T22:13:40.000Z}",
                                        "E SV\t{exit from state that not enter: currentBuffering}{2023-11-14T22:13:40.000Z}",
                                        "E SV\t{exit from state that not enter: currentIntervalBuffering}{2023-11-14T22:13:40.000Z}"}));
    runFor(10'000);
    EXPECT_EQ(collect(*metric), R"({"totalBufferingTime":"12000","bufferingTimeLeadingToNow":"0","currentBufferingTime":"0"})");
    metric->stopMetricCollection();
}

TEST_F(QMAVPlayerBufferingMetricTest, DuringAnAdvertisementTheIntervalIsNotReopenedAfterAReport) {
    makePlayable();
    auto metric = std::make_shared<QMAVPlayerBufferingMetric>();
    metric->startMetricCollection();
    runFor(1'000);
    makeStalled();
    runFor(1'000);
    metric->pauseMetricCollection();
    runFor(3'000);
    EXPECT_EQ(collect(*metric), R"({"totalBufferingTime":"4000","bufferingTimeLeadingToNow":"4000","currentBufferingTime":"4000"})");
    runFor(5'000);
    EXPECT_EQ(collect(*metric), R"({"totalBufferingTime":"9000","bufferingTimeLeadingToNow":"9000","currentBufferingTime":"0"})");
    EXPECT_EQ(linesStartingWith("E SV\t"),
              std::vector<std::string>{
                  "E SV\t{exit from state that not enter: currentIntervalBuffering}{2023-11-14T22:13:30.000Z}"});

    metric->resumeMetricCollection();
    runFor(5'000);
    EXPECT_EQ(collect(*metric), R"({"totalBufferingTime":"14000","bufferingTimeLeadingToNow":"14000","currentBufferingTime":"0"})");
    runFor(5'000);
    EXPECT_EQ(collect(*metric), R"({"totalBufferingTime":"19000","bufferingTimeLeadingToNow":"19000","currentBufferingTime":"5000"})");

    // A failed item ends the buffering event.
    runFor(1'000);
    item->setStatus(AVPlayerItemStatusFailed);
    EXPECT_FALSE(metric->isInBufferingMode());
    runFor(1'000);
    EXPECT_EQ(collect(*metric), R"({"totalBufferingTime":"20000","bufferingTimeLeadingToNow":"20000","currentBufferingTime":"1000"})");
    metric->stopMetricCollection();
}

TEST_F(QMAVPlayerBufferingMetricTest, AFailureBeforeAnyBufferingThrowsOutOfTheObservation) {
    makePlayable();
    auto metric = std::make_shared<QMAVPlayerBufferingMetric>();
    metric->startMetricCollection();
    try {
        item->setStatus(AVPlayerItemStatusFailed);
        FAIL() << "the media error must raise";
    } catch (const QMIllegalStateException& e) {
        EXPECT_EQ(e.reason(), "QMState buffering does not exists.");
    }
    EXPECT_TRUE(metric->viewerJoinedYet());
    metric->stopMetricCollection();
}
