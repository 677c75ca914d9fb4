#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "QMModelRecorder.h"
#include "platform/QMException.h"
#include "support/QMTestEnvironment.h"
#include "veyrakit/platform/QMNotificationCenter.h"
#include "veyrakit/platform/avfoundation/AVPlayer.h"
#include "veyrakit/platform/avfoundation/AVPlayerItemNotifications.h"
#include "veyrakit/platform/mediaplayer/MPMoviePlayerController.h"

namespace veyrakit {

using Lines = std::vector<std::string>;

TEST(CMTime, SecondsRoundingAndOrdering) {
    EXPECT_TRUE(std::isnan(CMTimeGetSeconds(kCMTimeInvalid)));
    EXPECT_TRUE(std::isnan(CMTimeGetSeconds(kCMTimeIndefinite)));
    EXPECT_EQ(CMTimeGetSeconds(kCMTimePositiveInfinity), std::numeric_limits<double>::infinity());
    EXPECT_EQ(CMTimeGetSeconds(kCMTimeZero), 0.0);

    const CMTime quarter = CMTimeMakeWithSeconds(0.25, 1000000000);
    EXPECT_EQ(quarter.value, 250000000);
    EXPECT_EQ(quarter.timescale, 1000000000);
    EXPECT_EQ(quarter.flags, kCMTimeFlags_Valid);
    EXPECT_EQ(CMTimeMakeWithSeconds(1.0 / 3.0, 600).value, 200);
    const CMTime rounded = CMTimeMakeWithSeconds(1.25, 2);
    EXPECT_EQ(rounded.value, 3);
    EXPECT_EQ(rounded.flags, kCMTimeFlags_Valid | kCMTimeFlags_HasBeenRounded);
    EXPECT_TRUE(CMTIME_IS_INVALID(CMTimeMakeWithSeconds(std::nan(""), 600)));
    // Too large for the preferred timescale: the timescale gives way, not the value.
    const CMTime huge = CMTimeMakeWithSeconds(1e12, 1000000000);
    EXPECT_LT(huge.timescale, 1000000000);
    EXPECT_DOUBLE_EQ(CMTimeGetSeconds(huge), 1e12);

    EXPECT_EQ(CMTimeCompare(CMTimeMake(1, 2), CMTimeMake(2, 4)), 0);
    EXPECT_EQ(CMTimeCompare(CMTimeMake(1, 3), CMTimeMake(1, 2)), -1);
    const CMTime ordered[] = {kCMTimeNegativeInfinity, CMTimeMake(-5, 1), CMTimeMake(1000000, 1),
                              kCMTimePositiveInfinity, kCMTimeIndefinite, kCMTimeInvalid};
    for (std::size_t i = 0; i + 1 < std::size(ordered); ++i) {
        EXPECT_EQ(CMTimeCompare(ordered[i], ordered[i + 1]), -1) << i;
        EXPECT_EQ(CMTimeCompare(ordered[i + 1], ordered[i]), 1) << i;
    }
    EXPECT_EQ(CMTimeCompare(kCMTimeInvalid, kCMTimeInvalid), 0);
}

class PlayerModels : public QMVirtualTimeTest {};

TEST_F(PlayerModels, SettersAnnounceRealChangesOnly) {
    auto player = AVPlayer::playerWithURL(QMURL::URLWithString("https://a.invalid/x.m3u8"));
    auto item = player->currentItem();
    auto recorder = std::make_shared<QMModelRecorder>();
    recorder->watch(player);
    player->setRate(1.0f);
    player->setRate(1.0f);
    item->setDuration(kCMTimeIndefinite);  // loaded: announced although unchanged
    item->setDuration(kCMTimeIndefinite);
    item->setDuration(CMTimeMake(30, 1));
    item->setDuration(CMTimeMake(30000, 1000));  // the same time
    item->setPresentationSize(CGSizeZero);
    item->setPlaybackBufferEmpty(true);
    item->setPlaybackBufferFull(true);
    player->replaceCurrentItemWithPlayerItem(item);
    EXPECT_EQ(recorder->lines(), (Lines{"0 player.rate 1", "0 item.duration indefinite", "0 item.duration 30",
                                        "0 item.playbackBufferFull YES"}));
    EXPECT_EQ(item->accessLog(), nullptr);
    item->addAccessLogEvent(std::make_shared<AVPlayerItemAccessLogEvent>());
    const auto& event = *item->accessLog()->events().at(0);
    EXPECT_EQ(event.startupTime(), -1.0);
    EXPECT_EQ(event.numberOfStalls(), -1);
    EXPECT_FALSE(event.URI().has_value());
    EXPECT_EQ(event.playbackStartDate(), nullptr);
    EXPECT_EQ(recorder->lines().back(), "0 AVPlayerItemNewAccessLogEntryNotification");
}

TEST_F(PlayerModels, PlayheadMovesOnlyWhileReadyFedAndPlayingAndStopsAtTheEnd) {
    auto item = AVPlayerItem::playerItemWithURL(QMURL::URLWithString("https://a.invalid/x.mp4"));
    auto player = AVPlayer::playerWithPlayerItem(item);
    player->play();
    runFor(1000);
    EXPECT_EQ(CMTimeGetSeconds(item->currentTime()), 0.0);  // loading
    item->setStatus(AVPlayerItemStatusReadyToPlay);
    item->setDuration(CMTimeMake(3, 1));
    item->setPlaybackBufferEmpty(false);
    runFor(1500);
    EXPECT_EQ(CMTimeGetSeconds(item->currentTime()), 1.5);
    player->setRate(2.0f);
    runFor(500);
    EXPECT_EQ(CMTimeGetSeconds(player->currentTime()), 2.5);
    auto other = AVPlayerItem::playerItemWithURL(QMURL::URLWithString("https://a.invalid/y.mp4"));
    player->replaceCurrentItemWithPlayerItem(other);
    runFor(500);
    EXPECT_EQ(CMTimeGetSeconds(item->currentTime()), 2.5);  // left behind, stands still
    player->replaceCurrentItemWithPlayerItem(item);
    runFor(10'000);
    EXPECT_EQ(CMTimeGetSeconds(item->currentTime()), 3.0);
    EXPECT_THROW(item->seekToTime(kCMTimeIndefinite), QMInvalidArgumentException);
}

TEST_F(PlayerModels, PeriodicTimeObserverTicksOnTheItemsTimelineUntilRemoved) {
    auto item = AVPlayerItem::playerItemWithURL(QMURL::URLWithString("https://a.invalid/x.mp4"));
    auto player = AVPlayer::playerWithPlayerItem(item);
    item->setStatus(AVPlayerItemStatusReadyToPlay);
    item->setPlaybackBufferEmpty(false);
    item->setDuration(CMTimeMake(2, 1));
    auto ticks = std::make_shared<std::vector<double>>();
    auto token = player->addPeriodicTimeObserverForInterval(
        CMTimeMakeWithSeconds(0.25, 1000000000), nullptr,
        [ticks](CMTime time) { ticks->push_back(CMTimeGetSeconds(time)); });
    // Nothing while the playhead stands still; the start, then every quarter second of media.
    runFor(500);
    player->play();
    runFor(750);
    EXPECT_EQ(*ticks, (std::vector<double>{0.0, 0.25, 0.5, 0.75}));
    // Twice the speed halves the clock time between ticks; a stop and a jump are heard at once.
    player->setRate(2.0f);
    runFor(125);
    player->pause();
    runFor(1000);
    player->seekToTime(CMTimeMake(1, 2));
    runFor(0);
    EXPECT_EQ(*ticks, (std::vector<double>{0.0, 0.25, 0.5, 0.75, 1.0, 1.0, 0.5}));
    // No tick beyond the end of the item: its playhead stops there.
    player->play();
    runFor(5000);
    EXPECT_EQ(ticks->size(), 14u);
    EXPECT_EQ(ticks->back(), 2.0);
    // Backwards, the ticks come at the multiples below.
    player->setRate(-2.0f);
    runFor(250);
    EXPECT_EQ(std::vector<double>(ticks->end() - 2, ticks->end()), (std::vector<double>{1.75, 1.5}));
    EXPECT_EQ(ticks.use_count(), 2);
    auto stranger = AVPlayer::playerWithURL(QMURL::URLWithString("https://a.invalid/z.mp4"));
    EXPECT_THROW(stranger->removeTimeObserver(token), QMInvalidArgumentException);
    EXPECT_THROW(player->addPeriodicTimeObserverForInterval(kCMTimeZero, nullptr, [](CMTime) {}),
                 QMInvalidArgumentException);
    player->removeTimeObserver(token);
    player->seekToTime(kCMTimeZero);
    runFor(1000);
    EXPECT_EQ(ticks->size(), 16u);
    EXPECT_EQ(ticks.use_count(), 1);  // the block was released
}

TEST_F(PlayerModels, MPMoviePlayerFullScreenAndStallsInPlatformOrder) {
    auto player = std::make_shared<MPMoviePlayerController>(QMURL::URLWithString("https://a.invalid/x.mp4"));
    auto recorder = std::make_shared<QMModelRecorder>();
    recorder->watch(player);
    player->setFullscreen(true, true);
    player->setFullscreen(true, true);
    player->setDuration(4.0);
    player->setLoadState(MPMovieLoadStatePlayable);
    player->play();
    runFor(1000);
    player->setLoadState(static_cast<MPMovieLoadState>(MPMovieLoadStatePlayable | MPMovieLoadStateStalled));
    runFor(1000);
    EXPECT_DOUBLE_EQ(player->currentPlaybackTime(), 1.0);
    player->setLoadState(MPMovieLoadStatePlaythroughOK);
    runFor(9000);
    EXPECT_DOUBLE_EQ(player->currentPlaybackTime(), 4.0);
    EXPECT_EQ(recorder->lines(), (Lines{"0 MPMoviePlayerWillEnterFullscreenNotification fullscreen=NO",
                                        "0 MPMoviePlayerDidEnterFullscreenNotification fullscreen=YES",
                                        "0 MPMovieDurationAvailableNotification 4",
                                        "0 MPMoviePlayerLoadStateDidChangeNotification 1",
                                        "0 MPMoviePlayerPlaybackStateDidChangeNotification 1",
                                        "1000 MPMoviePlayerLoadStateDidChangeNotification 5",
                                        "2000 MPMoviePlayerLoadStateDidChangeNotification 2"}));
}

}  // namespace veyrakit
