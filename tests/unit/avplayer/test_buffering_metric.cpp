#include <gtest/gtest.h>

#include "platform/QMException.h"
#include "players/avplayer/QMAVPlayerBufferingMetric.h"
#include "unit/avplayer/QMAVPlayerMetricTest.h"

namespace veyrakit {

using QMAVPlayerBufferingMetricTest = QMAVPlayerMetricTest;
using Bodies = std::vector<std::string>;

TEST_F(QMAVPlayerBufferingMetricTest, JoinTimeReportIsHeldBackUntilTheSessionIdArrivesAndSentOnce) {
    startSessionExchange(5'000);
    const std::size_t pluginObservations = plugin->observationCount();
    const std::size_t itemObservations = item->observationCount();
    auto metric = std::make_shared<QMAVPlayerBufferingMetric>();
    metric->startMetricCollection();  // a new item's buffer is empty: buffering from now on
    EXPECT_EQ(collect(*metric), "{}");
    runFor(1'200);
    makePlayable();
    EXPECT_EQ(metric->unsentJoinTimeReport(), QMJSON::parse(R"({"type":"J","joinTime":1200})"));
    // The wait before the join is not buffering of the session.
    EXPECT_EQ(collect(*metric),
              R"({"totalBufferingTime":"0","bufferingTimeLeadingToNow":"0","currentBufferingTime":"0"})");
    EXPECT_TRUE(reportBodies().empty());

    runFor(3'800);
    EXPECT_EQ(reportBodies(), Bodies{R"({"sessionId":"S-1","type":"J","joinTime":1200,"pulseNumber":1})"});
    EXPECT_EQ(linesStartingWith("I J"),
              (Bodies{"I J\t{JT:'1200', }{2023-11-14T22:13:25.000Z}", "I JR\t{}{2023-11-14T22:13:25.000Z}"}));
    EXPECT_EQ(plugin->observationCount(), pluginObservations);
    plugin->setSessionId("S-2");
    runFor(1'000);
    EXPECT_EQ(reportBodies().size(), 1u);
    metric->stopMetricCollection();  // the session id observation is not removed twice
    EXPECT_EQ(item->observationCount(), itemObservations);
}

TEST_F(QMAVPlayerBufferingMetricTest, APlayableItemJoinsAtOnceAndAFailureBeforeAnyBufferingThrows) {
    startSessionExchange(0);
    runFor(10);
    const std::size_t pluginObservations = plugin->observationCount();
    const std::size_t itemObservations = item->observationCount();
    makePlayable();
    auto metric = std::make_shared<QMAVPlayerBufferingMetric>();
    metric->startMetricCollection();
    runFor(10);
    EXPECT_EQ(reportBodies(), Bodies{R"({"sessionId":"S-1","type":"J","joinTime":0,"pulseNumber":1})"});
    try {
        item->setStatus(AVPlayerItemStatusFailed);
        ADD_FAILURE() << "a media error before any buffering must raise";
    } catch (const QMIllegalStateException& e) {
        EXPECT_EQ(e.reason(), "QMState buffering does not exists.");
    }
    metric->stopMetricCollection();
    EXPECT_EQ(item->observationCount(), itemObservations);
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
    EXPECT_EQ(values(*metric), "9000 9000 9000");  // total, leading to now, current
    runFor(3'000);
    makePlayable();
    runFor(7'000);
    EXPECT_EQ(values(*metric), "12000 12000 3000");
    item->setPlaybackBufferFull(true);  // playback again, with three closed states to exit
    EXPECT_EQ(
        linesStartingWith("E SV"),
        (Bodies{
            "E SV\t{exit from state that not enter: buffering}{2023-11-14T22:13:40.000Z}",
            "E SV\t{exit from state that not enter: currentBuffering}{2023-11-14T22:13:40.000Z}",
            "E SV\t{exit from state that not enter: currentIntervalBuffering}{2023-11-14T22:13:40.000Z}"}));
    runFor(10'000);
    EXPECT_EQ(values(*metric), "12000 0 0");
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
    EXPECT_EQ(values(*metric), "4000 4000 4000");
    runFor(5'000);
    EXPECT_EQ(values(*metric), "9000 9000 0");
    EXPECT_EQ(
        linesStartingWith("E SV"),
        Bodies{"E SV\t{exit from state that not enter: currentIntervalBuffering}{2023-11-14T22:13:30.000Z}"});
    metric->resumeMetricCollection();
    runFor(5'000);
    EXPECT_EQ(values(*metric), "14000 14000 0");
    runFor(5'000);
    EXPECT_EQ(values(*metric), "19000 19000 5000");
    // A failed item ends the buffering event.
    runFor(1'000);
    item->setStatus(AVPlayerItemStatusFailed);
    runFor(1'000);
    EXPECT_EQ(values(*metric), "20000 20000 1000");
    metric->stopMetricCollection();
}

}  // namespace veyrakit
