#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "QMSimulationTest.h"

namespace veyrakit {

namespace {

using Lines = std::vector<std::string>;

const std::string mpMoviePlayerHeader =
    "player mpmovieplayer\n"
    "url https://media.example.invalid/vod/a/master.m3u8\n"
    "duration 10\n"
    "server 192.0.2.7\n"
    "session-id MP-SESSION\n"
    "variant 800000 960x540\n"
    "variant 1500000 1280x720\n";

class MPMoviePlayerSimulation : public QMSimulationTest {};

}  // namespace

TEST_F(MPMoviePlayerSimulation, SessionNotificationsInPlatformOrderWithLogs) {
    play(mpMoviePlayerHeader +
             "at 0 play\nat 1 ready\nat 2 bitrate 1500000\nat 3 stall 1\nat 5 seek 2\n"
             "at 6 fullscreen\nat 6 airplay on\nat 6 scaling fill\nat 7 server-error 503\nat 7.5 "
             "buffer-full\n",
         20'000);
    EXPECT_EQ(recorder->lines(), (Lines{"0 MPMoviePlayerPlaybackStateDidChangeNotification 1",
                                        "0 MPMoviePlayerLoadStateDidChangeNotification 4",
                                        "1000 MPMovieSourceTypeAvailableNotification 2",
                                        "1000 MPMovieMediaTypesAvailableNotification 3",
                                        "1000 MPMovieDurationAvailableNotification 10",
                                        "1000 MPMovieNaturalSizeAvailableNotification 960x540",
                                        "1000 MPMoviePlayerLoadStateDidChangeNotification 1",
                                        "1000 MPMoviePlayerReadyForDisplayDidChangeNotification YES",
                                        "2000 MPMovieNaturalSizeAvailableNotification 1280x720",
                                        "3000 MPMoviePlayerLoadStateDidChangeNotification 4",
                                        "4000 MPMoviePlayerLoadStateDidChangeNotification 1",
                                        "5000 MPMoviePlayerPlaybackStateDidChangeNotification 5",
                                        "5000 MPMoviePlayerPlaybackStateDidChangeNotification 1",
                                        "6000 MPMoviePlayerWillEnterFullscreenNotification fullscreen=NO",
                                        "6000 MPMoviePlayerDidEnterFullscreenNotification fullscreen=YES",
                                        "6000 MPMoviePlayerIsAirPlayVideoActiveDidChangeNotification YES",
                                        "6000 MPMoviePlayerScalingModeDidChangeNotification 3",
                                        "7500 MPMoviePlayerLoadStateDidChangeNotification 3",
                                        "13000 MPMoviePlayerPlaybackDidFinishNotification reason=0",
                                        "13000 MPMoviePlayerPlaybackStateDidChangeNotification 0"}));
    auto player = simulator->mpMoviePlayer();
    EXPECT_DOUBLE_EQ(player->currentPlaybackTime(), 10.0);
    const auto& events = player->accessLog()->events();
    ASSERT_EQ(events.size(), 2u);
    EXPECT_EQ(*events[0]->playbackSessionID(), "MP-SESSION");
    EXPECT_EQ(*events[0]->serverAddress(), "192.0.2.7");
    EXPECT_DOUBLE_EQ(events[0]->durationWatched(), 1.0);
    EXPECT_EQ(events[0]->playbackStartDate()->timeIntervalSince1970(), 1'700'000'001.0);
    // 1..2 s and 3..4 s of media, then 2..10 s after seeking back.
    EXPECT_DOUBLE_EQ(events[1]->durationWatched(), 10.0);
    EXPECT_EQ(events[1]->numberOfSegmentsDownloaded(), 2);
    EXPECT_EQ(events[1]->numberOfStalls(), 1);
    EXPECT_EQ(events[1]->indicatedBitrate(), 1500000.0);
    const auto& error = *player->errorLog()->events().at(0);
    EXPECT_EQ(error.errorStatusCode(), 503);
    EXPECT_EQ(*error.URI(), "https://media.example.invalid/vod/a/1500000/index.m3u8");
    EXPECT_EQ(*error.playbackSessionID(), "MP-SESSION");
    EXPECT_EQ(error.date()->timeIntervalSince1970(), 1'700'000'007.0);
}

TEST_F(MPMoviePlayerSimulation, FailureAndUserExitCarryTheirFinishReasons) {
    play(mpMoviePlayerHeader +
             "at 0 ready\nat 0 play\nat 2 fail code=-1100 domain=NSURLErrorDomain message=\"not found\"\n",
         5'000);
    EXPECT_EQ(recorder->linesStartingWith("MPMoviePlayerPlaybackDidFinishNotification"),
              (Lines{"2000 MPMoviePlayerPlaybackDidFinishNotification reason=1 "
                     "error=NSURLErrorDomain/-1100/not found"}));
    EXPECT_EQ(recorder->lines().back(), "2000 MPMoviePlayerPlaybackStateDidChangeNotification 0");
    // Ready before play: no stalled load state on the way.
    EXPECT_EQ(recorder->linesStartingWith("MPMoviePlayerLoadStateDidChangeNotification"),
              (Lines{"0 MPMoviePlayerLoadStateDidChangeNotification 1"}));

    play(mpMoviePlayerHeader + "at 0 play\nat 1 ready\nat 3 pause\nat 4 stop\n", 5'000);
    const Lines& all = recorder->lines();
    EXPECT_EQ(Lines(all.end() - 3, all.end()),
              (Lines{"3000 MPMoviePlayerPlaybackStateDidChangeNotification 2",
                     "4000 MPMoviePlayerPlaybackDidFinishNotification reason=2",
                     "4000 MPMoviePlayerPlaybackStateDidChangeNotification 0"}));
    EXPECT_DOUBLE_EQ(simulator->position(), 2.0);
}

}  // namespace veyrakit
