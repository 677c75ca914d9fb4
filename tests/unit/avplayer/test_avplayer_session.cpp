#include <gtest/gtest.h>

#include "players/avplayer/QMAVPlayerViewingTimeMetric.h"
#include "unit/avplayer/QMAVPlayerSessionTest.h"

namespace veyrakit {

namespace {

// 40 s of media on a two-rung ladder: join buffering of 2 s, a switch up at 0:12, full screen
// from 0:15, an advertisement break with the content paused from 0:20 to 0:25; the media ends
// at 0:47 on the clock. The session id arrives after 0.5 s; reports every 10 s.
const char* const kScenario = R"(
player avplayer
url https://media.veyrakit.invalid/vod/clip/master.m3u8
duration 0:40
variant 800000 960x540
variant 1500000 1280x720

at 0:00 play
at 0:02 ready
at 0:12 bitrate 1500000
at 0:15 fullscreen
at 0:20 ads-start
at 0:20 pause
at 0:25 ads-stop
at 0:25 play
)";

}  // namespace

TEST_F(QMAVPlayerSessionTest, AVodSessionPlayedToTheEndSendsTheExactRequestStreamAndLeavesNothingBehind) {
    answerSession(500);
    simulate(kScenario, QMCustomMetadataArray{std::make_shared<QMCustomMetadata>(std::nullopt, Strings{"x"})},
             QMCustomMetadataArray{std::make_shared<QMCustomMetadata>("tier", Strings{"gold"})});
    std::vector<std::weak_ptr<QMObject>> parts{
        plugin()->eventManager(), plugin()->eventManager()->handlers().at(0), plugin()->metricManager()};
    for (const auto& [key, metric] : plugin()->metricManager()->metricsMap()) {
        parts.push_back(metric);
    }
    ASSERT_TRUE(loop->runUntil([&] { return simulator->isFinished(); }, 60'000));
    runFor(120'000);

    const std::string P = R"({"type":"P","sessionId":"S-1",)";
    const std::string noBuffering =
        R"("totalBufferingTime":"0","bufferingTimeLeadingToNow":"0","currentBufferingTime":"0",)";
    EXPECT_EQ(
        requestStream(),
        (Strings{
            R"(0 /player/init {"assetId":"A-1","qmrCID":"C-1","assetName":"Name","viewerId":"V-1","protocolVersion":"1.1","mediaUrl":"https://media.veyrakit.invalid/vod/clip/master.m3u8","streamType":"HLS","assetType":"VOD","viewerMetadata":[{"key":"tier","values":["gold"]}],"uniqueViewerData":[{"key":"viewerIdInCookie","values":["false"]}]})",
            R"(500 /player/report {"sessionId":"S-1","type":"S","pulseNumber":1})",
            "500 /player/report " + P +
                R"("playing":0,"assetDuration":"0","totalViewedTime":"0","currentViewedTime":"0","currentElapsedTime":"500","totalElapsedTime":"500","periodDuration":"10","alive":"1","periodicalNumber":1,"pulseNumber":2})",
            R"(2000 /player/report {"sessionId":"S-1","type":"D","duration":"40","pulseNumber":3})",
            R"(2000 /player/report {"sessionId":"S-1","type":"J","joinTime":2000,"pulseNumber":4})",
            "10500 /player/report " + P + noBuffering +
                R"("currentBitRate":800000,"playing":1,"assetDuration":"40","totalPlayingTime":"8500","currentPlayingTime":"8500","totalViewedTime":"9000","currentViewedTime":"8000","currentElapsedTime":"10000","totalElapsedTime":"10500","periodDuration":"10","alive":"0","periodicalNumber":2,"pulseNumber":5})",
            // The switch ends a period: the report carries the bitrate of the period that ended. The
            // playhead's tick at 10 s of media comes at the same moment, after the report.
            "12000 /player/report " + P + noBuffering +
                R"("currentBitRate":800000,"playing":1,"assetDuration":"40","totalPlayingTime":"10000","currentPlayingTime":"1500","totalViewedTime":"10000","currentViewedTime":"2000","currentElapsedTime":"1500","totalElapsedTime":"12000","periodDuration":"10","alive":"0","periodicalNumber":3,"pulseNumber":6})",
            // During the break: viewing time frozen at its start, full screen counted until the pause.
            "20500 /player/report " + P + noBuffering +
                R"("currentBitRate":1500000,"playing":0,"assetDuration":"40","totalPlayingTime":"18000","currentPlayingTime":"8000","totalViewedTime":"18000","currentViewedTime":"8000","totalFullScreenTime":"5000","currentFullScreenTime":"5000","currentElapsedTime":"8500","totalElapsedTime":"20500","periodDuration":"10","alive":"0","periodicalNumber":4,"pulseNumber":7})",
            "30500 /player/report " + P + noBuffering +
                R"("currentBitRate":1500000,"playing":1,"assetDuration":"40","totalPlayingTime":"23500","currentPlayingTime":"5500","totalViewedTime":"24000","currentViewedTime":"5000","totalFullScreenTime":"10500","currentFullScreenTime":"5500","currentElapsedTime":"10000","totalElapsedTime":"30500","periodDuration":"10","alive":"0","periodicalNumber":5,"pulseNumber":8})",
            "40500 /player/report " + P + noBuffering +
                R"("currentBitRate":1500000,"playing":1,"assetDuration":"40","totalPlayingTime":"33500","currentPlayingTime":"10000","totalViewedTime":"34000","currentViewedTime":"10000","totalFullScreenTime":"20500","currentFullScreenTime":"10000","currentElapsedTime":"10000","totalElapsedTime":"40500","periodDuration":"10","alive":"0","periodicalNumber":6,"pulseNumber":9})",
            // The player has paused at the end of the item when its end is announced.
            "47000 /player/report " + P + noBuffering +
                R"("currentBitRate":1500000,"playing":0,"assetDuration":"40","playbackCompleted":true,"totalPlayingTime":"40000","currentPlayingTime":"6500","totalViewedTime":"40000","currentViewedTime":"7000","totalFullScreenTime":"27000","currentFullScreenTime":"6500","currentElapsedTime":"6500","totalElapsedTime":"47000","periodDuration":"10","alive":"0","periodicalNumber":7,"pulseNumber":10})",
        }));
    const auto lines = logs();
    EXPECT_EQ(
        Strings(lines.end() - 5, lines.end()),
        (Strings{"I T playback completed. Last P",
                 "I P TBF:'0', BFTN:'0', CBF:'0', CBR:'1500000', P:'0', PC:'1', TPT:'40000', CPT:'6500', "
                 "TVT:'40000', CVT:'7000', TFT:'27000', CFT:'6500', PRD:'7', PLS:'10', ",
                 "I SV Disposing avplayerveyraplugin", "I T Disposing all parts", "I T P timer disposed"}));
    stopTheRunningReporter(simulator->player());
    expectNothingLeft(simulator->player());
    for (const auto& part : parts) {
        EXPECT_TRUE(part.expired());
    }
}

TEST_F(QMAVPlayerSessionTest, ALiveSessionEndsWithTheHostsStopAndCarriesTheHostsFaultReport) {
    answerSession(500);
    simulate(R"(
url https://live.veyrakit.invalid/channel/master.m3u8
duration live
variant 800000
at 0:00 play
at 0:01 ready
at 0:05 fault-report E42 7.1
at 0:13 stop-playback
at 0:13 stop
)");
    ASSERT_TRUE(loop->runUntil([&] { return simulator->isFinished(); }, 60'000));
    runFor(120'000);
    const Strings stream = requestStream();
    ASSERT_EQ(stream.size(), 8u);
    EXPECT_EQ(
        stream[3],
        R"(1000 /player/report {"sessionId":"S-1","type":"D","duration":"-2147483648","pulseNumber":3})");
    EXPECT_EQ(
        stream[5],
        R"(5000 /player/report {"sessionId":"S-1","type":"F","manual":1,"errorCode":"E42","playerVersion":"7.1","pulseNumber":5})");
    EXPECT_EQ(
        stream[7],
        R"(13000 /player/report {"type":"P","sessionId":"S-1","totalBufferingTime":"0","bufferingTimeLeadingToNow":"0","currentBufferingTime":"0","currentBitRate":800000,"playing":1,"assetDuration":"-2147483648","playbackCompleted":true,"totalPlayingTime":"12000","currentPlayingTime":"2500","totalViewedTime":"12000","currentViewedTime":"3000","currentElapsedTime":"2500","totalElapsedTime":"13000","periodDuration":"10","alive":"0","periodicalNumber":3,"pulseNumber":7})");
    EXPECT_TRUE(plugin()->destroyed());
    expectNothingLeft(simulator->player());
}

namespace {

// Join at 0:02, a 3 s stall from 0:05 while the viewer wants to play, played both ways a
// driver may: the rate stays at 1, or it drops to 0 until the buffer recovers.
std::string stallScenario(const std::string& behaviour) {
    return "url https://media.veyrakit.invalid/vod/clip/master.m3u8\nduration 0:40\nvariant 800000\n"
           "stall-behaviour " +
           behaviour + "\nat 0:00 play\nat 0:02 ready\nat 0:05 stall 3\n";
}

// The first full report: 8.5 s of the interval, 3 s of it waiting for data after the join.
const char* const kReportAfterTheStall =
    R"("totalBufferingTime":"3000","bufferingTimeLeadingToNow":"3000","currentBufferingTime":"3000","currentBitRate":800000,"playing":1,"assetDuration":"40","totalPlayingTime":"5500","currentPlayingTime":"5500","totalViewedTime":"6000","currentViewedTime":"5000",)";

}  // namespace

TEST_F(QMAVPlayerSessionTest, AStallWithTheRateKeptIsPlayingBufferingAndReportsTheSplit) {
    answerSession(500);
    simulate(stallScenario("rate-stays"));
    runFor(6'000);
    auto viewing = metric<QMAVPlayerViewingTimeMetric>(QMMetricManager::VIEWING_TIME_METRIC_KEY);
    ASSERT_TRUE(viewing);
    // The viewer still wants to play: waiting for data, not paused.
    EXPECT_TRUE(viewing->isLastActiveState(QMAVPlayerViewingTimeMetric::STATE_PLAYING_BUFFERING()));
    EXPECT_EQ(simulator->player()->rate(), 1.0f);
    runFor(5'000);
    const Strings stream = requestStream();
    ASSERT_EQ(stream.size(), 6u);
    EXPECT_NE(stream[5].find(kReportAfterTheStall), std::string::npos) << stream[5];
}

TEST_F(QMAVPlayerSessionTest, AStallWithTheRateDroppedIsPausedBufferingAndReportsTheSameSplit) {
    answerSession(500);
    simulate(stallScenario("rate-drops"));
    runFor(6'000);
    auto viewing = metric<QMAVPlayerViewingTimeMetric>(QMMetricManager::VIEWING_TIME_METRIC_KEY);
    ASSERT_TRUE(viewing);
    EXPECT_TRUE(viewing->isLastActiveState(QMAVPlayerViewingTimeMetric::STATE_BUFFERING()));
    EXPECT_EQ(simulator->player()->rate(), 0.0f);
    runFor(5'000);
    const Strings stream = requestStream();
    ASSERT_EQ(stream.size(), 6u);
    EXPECT_NE(stream[5].find(kReportAfterTheStall), std::string::npos) << stream[5];
}

}  // namespace veyrakit
