#include <gtest/gtest.h>

#include "unit/mpmovieplayer/QMMPMoviePlayerSessionTest.h"

namespace veyrakit {

namespace {

// 30 s of media: the viewer taps play before the content is ready (2 s of join buffering), pauses
// and plays again, goes full screen, and the content stalls from 0:18 to 0:23, across the report
// at 0:20.5; a pause and a new play at 0:27 and 0:28 put the viewing time right again. The media
// ends at 0:38 on the clock. The session id arrives after 0.5 s; reports every 10 s.
const char* const kStallScenario = R"(
player mpmovieplayer
url https://media.veyrakit.invalid/vod/clip/master.m3u8
duration 0:30
variant 800000 960x540

at 0:00 play
at 0:02 ready
at 0:03 pause
at 0:04 play
at 0:05 buffer-full
at 0:08 fullscreen
at 0:18 stall 5
at 0:27 pause
at 0:28 play
)";

}  // namespace

TEST_F(QMMPMoviePlayerSessionTest, ABufferingSpanningAReportShowsTheKeptAsymmetriesAndTheFinishSendsNothing) {
    answerSession(500);
    simulate(kStallScenario, QMCustomMetadataArray{});
    const auto parts = sessionParts();
    ASSERT_TRUE(loop->runUntil([&] { return simulator->isFinished(); }, 60'000));
    runFor(60'000);

    const std::string P = R"({"type":"P","sessionId":"S-1",)";
    const std::string tail = R"("playing":true,"assetDuration":"30",)";
    EXPECT_EQ(
        requestStream(),
        (Strings{
            // The empty metadata array goes out as [].
            R"(0 /player/init {"assetId":"A-1","qmrCID":"C-1","assetName":"Name","viewerId":"V-1","protocolVersion":"1.1","mediaUrl":"https://media.veyrakit.invalid/vod/clip/master.m3u8","streamType":"HLS","assetType":"VOD","assetMetadata":[],"uniqueViewerData":[{"key":"viewerIdInCookie","values":["false"]}]})",
            R"(500 /player/report {"sessionId":"S-1","type":"S","pulseNumber":1})",
            // "playing" is a boolean from the playback state; no "alive" in any report.
            "500 /player/report " + P +
                R"("playing":true,"assetDuration":"0","totalViewedTime":"0","currentViewedTime":"0","currentElapsedTime":"500","totalElapsedTime":"500","periodDuration":"10","periodicalNumber":1,"pulseNumber":2})",
            R"(2000 /player/report {"sessionId":"S-1","type":"D","duration":"30","pulseNumber":3})",
            R"(2000 /player/report {"sessionId":"S-1","type":"J","joinTime":2000,"pulseNumber":4})",
            // Viewing time counts from the play at 0:04 (the first play came before the metrics).
            "10500 /player/report " + P +
                R"("totalBufferingTime":"0","currentBufferingTime":"0","currentBitRate":800000,)" + tail +
                R"("totalPlayingTime":"6500","currentPlayingTime":"6500","totalViewedTime":"7000","currentViewedTime":"6000","totalFullScreenTime":"2500","currentFullScreenTime":"2500","currentElapsedTime":"10000","totalElapsedTime":"10500","periodDuration":"10","periodicalNumber":2,"pulseNumber":5})",
            // The stall's load-state change forces a report before the metrics see the stall.
            "18000 /player/report " + P +
                R"("totalBufferingTime":"0","currentBufferingTime":"0","currentBitRate":800000,)" + tail +
                R"("totalPlayingTime":"14000","currentPlayingTime":"7500","totalViewedTime":"15000","currentViewedTime":"8000","totalFullScreenTime":"10000","currentFullScreenTime":"7500","currentElapsedTime":"7500","totalElapsedTime":"18000","periodDuration":"10","periodicalNumber":3,"pulseNumber":6})",
            "20500 /player/report " + P +
                R"("totalBufferingTime":"2500","currentBufferingTime":"2500","currentBitRate":800000,)" +
                tail +
                R"("totalPlayingTime":"14000","currentPlayingTime":"0","totalViewedTime":"15000","currentViewedTime":"0","totalFullScreenTime":"10000","currentFullScreenTime":"0","currentElapsedTime":"2500","totalElapsedTime":"20500","periodDuration":"10","periodicalNumber":4,"pulseNumber":7})",
            // The recovery forces a report while the event is still open: the interval's 2500
            // overwrites the whole event's 5000 under "currentBufferingTime", and the re-opened
            // "currentPlaying" counted the buffering as playing time.
            "23000 /player/report " + P +
                R"("totalBufferingTime":"5000","currentBufferingTime":"2500","currentBitRate":800000,)" +
                tail +
                R"("totalPlayingTime":"14000","currentPlayingTime":"2500","totalViewedTime":"15000","currentViewedTime":"0","totalFullScreenTime":"10000","currentFullScreenTime":"0","currentElapsedTime":"2500","totalElapsedTime":"23000","periodDuration":"10","periodicalNumber":5,"pulseNumber":8})",
            // "totalPlayingTime" stood still from the stall to the play at 0:28.
            "30500 /player/report " + P +
                R"("totalBufferingTime":"5000","currentBufferingTime":"0","currentBitRate":800000,)" + tail +
                R"("totalPlayingTime":"16500","currentPlayingTime":"6500","totalViewedTime":"21000","currentViewedTime":"6000","totalFullScreenTime":"16500","currentFullScreenTime":"6500","currentElapsedTime":"7500","totalElapsedTime":"30500","periodDuration":"10","periodicalNumber":6,"pulseNumber":9})",
            // The end of the media at 0:39 ends the session: nothing more goes out.
        }));
    const auto lines = logs();
    EXPECT_EQ(count("E SV exit from state that not enter: currentPlaying"), 1);  // the report at 0:20.5
    EXPECT_EQ(count("E SV exit from state that not enter: playing"), 1);         // the pause at 0:27
    EXPECT_EQ(count("I T playback completed. Last P"), 0);
    EXPECT_EQ(Strings(lines.end() - 2, lines.end()),
              (Strings{"I T Disposing all parts", "I T P timer disposed"}));
    expectSessionEnded(parts);
}

TEST_F(QMMPMoviePlayerSessionTest, APlaybackErrorSendsOnePlaybackErrorReportAndEndsTheSessionAtOnce) {
    answerSession(500);
    simulate(R"(
player mpmovieplayer
url https://media.veyrakit.invalid/vod/clip/video.mp4
duration 5:00
variant 800000
at 0:00 play
at 0:01 ready
at 0:12 fail code=-1100 domain=NSURLErrorDomain
)");
    const auto parts = sessionParts();
    ASSERT_TRUE(loop->runUntil([&] { return simulator->isFinished(); }, 60'000));
    runFor(60'000);
    const Strings stream = requestStream();
    ASSERT_EQ(stream.size(), 7u);
    EXPECT_EQ(
        stream[0].substr(0, 100),
        R"(0 /player/init {"assetId":"A-1","qmrCID":"C-1","assetName":"Name","viewerId":"V-1","protocolVersion")");
    EXPECT_NE(stream[0].find(R"("streamType":"PDL")"), std::string::npos);
    EXPECT_EQ(stream[5].substr(0, 33), R"(10500 /player/report {"type":"P",)");
    // The error report goes out during the finish; the destroy that follows stops the metrics
    // before their own finish observers run: no last periodical report.
    EXPECT_EQ(stream[6], R"(12000 /player/report {"sessionId":"S-1","type":"E","pulseNumber":6})");
    const auto lines = logs();
    EXPECT_EQ(Strings(lines.end() - 4, lines.end()),
              (Strings{"I X Media error", "I E ", "I T Disposing all parts", "I T P timer disposed"}));
    expectSessionEnded(parts);
}

TEST_F(QMMPMoviePlayerSessionTest, AnErrorBeforeTheSessionIdDestroysAtOnceAndTheLateSessionIdIsNotStored) {
    answerSession(5'000);
    simulate(R"(
player mpmovieplayer
url https://media.veyrakit.invalid/vod/clip/master.m3u8
duration 5:00
at 0:00 play
at 0:01 fail
)");
    const auto parts = sessionParts();
    runFor(60'000);
    EXPECT_EQ(requestStream().size(), 1u);  // the session request only
    EXPECT_EQ(plugin()->sessionId(), std::nullopt);
    EXPECT_EQ(count("I X Media error"), 1);
    EXPECT_EQ(logs().back(), "E X SessionId is obtained but reporting mechanism is destroyed. ");
    expectSessionEnded(parts);
}

TEST_F(QMMPMoviePlayerSessionTest, TheViewerLeavingEndsTheSessionWithoutAReport) {
    answerSession(500);
    simulate(R"(
player mpmovieplayer
url https://media.veyrakit.invalid/vod/clip/master.m3u8
duration 5:00
at 0:00 play
at 0:01 ready
at 0:15 stop
)");
    const auto parts = sessionParts();
    runFor(60'000);
    const Strings stream = requestStream();
    ASSERT_EQ(stream.size(), 6u);
    EXPECT_EQ(stream.back().substr(0, 33), R"(10500 /player/report {"type":"P",)");
    EXPECT_EQ(count("I X Media error"), 0);
    expectSessionEnded(parts);
}

}  // namespace veyrakit
