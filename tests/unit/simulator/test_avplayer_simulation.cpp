#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "QMSimulationTest.h"
#include "platform/QMClock.h"
#include "platform/QMException.h"
#include "veyrakit/platform/QMNotificationCenter.h"
#include "veyrakit/platform/avfoundation/AVPlayerItemNotifications.h"
#include "veyrakit/platform/avfoundation/AVURLAsset.h"

namespace veyrakit {

namespace {

using Lines = std::vector<std::string>;

class RecordingHost : public QMSimulatorHost {
  public:
    explicit RecordingHost(Lines& calls) : calls_(calls) {}
    void startAds() override { note("startAds"); }
    void stopAds() override { note("stopAds"); }
    void sizeChangedToFullScreen() override { note("sizeChangedToFullScreen"); }
    void sizeChangedToWindow() override { note("sizeChangedToWindow"); }
    void stopPlayback() override { note("stopPlayback"); }
    void viewerFaultReport(const std::string& errorCode, const std::string& playerVersion) override {
        note("viewerFaultReport " + errorCode + " " + playerVersion);
    }
    void scenarioDidFinish() override { note("scenarioDidFinish"); }

  private:
    void note(const std::string& call) {
        calls_.push_back(std::to_string(QMClock::currentTimeMillis() - 1'700'000'000'000) + " " + call);
    }
    Lines& calls_;
};

const std::string vodHeader =
    "url https://media.example.invalid/vod/a/master.m3u8\n"
    "duration 20\n"
    "segment 4\n"
    "variant 800000 960x540\n"
    "variant 1500000 1280x720\n";

class AVPlayerSimulation : public QMSimulationTest {};

}  // namespace

TEST_F(AVPlayerSimulation, JoinSwitchStallSeekAndEndInPlatformOrder) {
    // What observers read at the moment of two notifications.
    std::vector<double> seen;
    auto center = QMNotificationCenter::defaultCenter();
    play(vodHeader + "at 0 play\nat 1.5 ready\nat 4 bitrate 1500000\nat 6 stall 1\nat 8 seek 15\n", 0);
    auto item = simulator->playerItem();
    center->addObserver(
        this, AVPlayerItemPlaybackStalledNotification, item.get(), [&](const QMNotification&) {
            seen.push_back(static_cast<double>(item->accessLog()->events().back()->numberOfStalls()));
        });
    center->addObserver(this, AVPlayerItemDidPlayToEndTimeNotification, item.get(),
                        [&](const QMNotification&) {
                            seen.push_back(simulator->player()->rate());
                            seen.push_back(CMTimeGetSeconds(item->currentTime()));
                        });
    runFor(30'000);
    center->removeObserver(this);

    EXPECT_EQ(recorder->lines(),
              (Lines{"0 player.rate 1", "1500 player.status 1", "1500 item.status 1", "1500 item.duration 20",
                     "1500 item.presentationSize 960x540", "1500 item.playbackBufferEmpty NO",
                     "1500 item.playbackLikelyToKeepUp YES", "1500 AVPlayerItemNewAccessLogEntryNotification",
                     "4000 AVPlayerItemNewAccessLogEntryNotification", "4000 item.presentationSize 1280x720",
                     "6000 item.playbackLikelyToKeepUp NO", "6000 item.playbackBufferEmpty YES",
                     "6000 AVPlayerItemPlaybackStalledNotification", "7000 item.playbackBufferEmpty NO",
                     "7000 item.playbackLikelyToKeepUp YES", "8000 AVPlayerItemTimeJumpedNotification",
                     "13000 player.rate 0", "13000 AVPlayerItemDidPlayToEndTimeNotification"}));
    // The player has paused by the time the end is announced.
    EXPECT_EQ(seen, (std::vector<double>{1.0, 0.0, 20.0}));
    EXPECT_TRUE(simulator->isFinished());
    EXPECT_TRUE(simulator->isPlaybackOver());

    const auto& events = item->accessLog()->events();
    ASSERT_EQ(events.size(), 2u);
    const auto& first = *events[0];
    EXPECT_EQ(*first.URI(), "https://media.example.invalid/vod/a/800000/index.m3u8");
    EXPECT_EQ(*first.serverAddress(), "media.example.invalid");
    EXPECT_EQ(*first.playbackSessionID(), "00000000-0000-4000-8000-018BCFE56800");
    EXPECT_EQ(*first.playbackType(), "VOD");
    EXPECT_EQ(first.playbackStartDate()->timeIntervalSince1970(), 1'700'000'001.5);
    EXPECT_EQ(first.startupTime(), 1.5);
    EXPECT_EQ(first.playbackStartOffset(), 0.0);
    EXPECT_DOUBLE_EQ(first.durationWatched(), 2.5);
    EXPECT_EQ(first.indicatedBitrate(), 800000.0);
    EXPECT_EQ(first.observedBitrate(), 1600000.0);
    EXPECT_EQ(first.switchBitrate(), -1.0);
    EXPECT_EQ(first.observedBitrateStandardDeviation(), -1.0);
    EXPECT_EQ(first.numberOfSegmentsDownloaded(), 1);
    EXPECT_EQ(first.numberOfBytesTransferred(), 400000);
    EXPECT_DOUBLE_EQ(first.transferDuration(), 2.0);
    const auto& second = *events[1];
    EXPECT_EQ(second.startupTime(), -1.0);
    EXPECT_DOUBLE_EQ(second.playbackStartOffset(), 2.5);
    // 4..6 s and 7..8 s before the seek, then 15..20 s of media after it.
    EXPECT_DOUBLE_EQ(second.durationWatched(), 8.0);
    EXPECT_EQ(second.numberOfStalls(), 1);
    EXPECT_EQ(second.switchBitrate(), 3000000.0);
    EXPECT_EQ(second.numberOfMediaRequests(), 3);
    EXPECT_EQ(second.numberOfBytesTransferred(), 2250000);
}

TEST_F(AVPlayerSimulation, ServerErrorsThenItemFailureAfterPlaybackStarted) {
    Lines calls;
    play(vodHeader +
             "session-id SID-1\n"
             "at 0 play\nat 1 ready\nat 3 server-error 503 comment=\"HTTP 503: Service Unavailable\"\n"
             "at 5 fail item code=-11819 message=\"Media services were reset\"\nat 6 ads-start\n",
         10'000, std::make_shared<RecordingHost>(calls));
    EXPECT_EQ(recorder->linesStartingWith("AVPlayerItemNewErrorLogEntryNotification"),
              (Lines{"3000 AVPlayerItemNewErrorLogEntryNotification"}));
    EXPECT_EQ(recorder->linesStartingWith("item.error"),
              (Lines{"5000 item.error AVFoundationErrorDomain/-11819/Media services were reset"}));
    const Lines& all = recorder->lines();
    EXPECT_EQ(
        Lines(all.end() - 4, all.end()),
        (Lines{"5000 item.error AVFoundationErrorDomain/-11819/Media services were reset",
               "5000 item.status 2",
               "5000 AVPlayerItemFailedToPlayToEndTimeNotification AVFoundationErrorDomain/-11819/Media "
               "services were reset",
               "5000 player.rate 0"}));
    EXPECT_EQ(calls, (Lines{"6000 startAds", "6000 scenarioDidFinish"}));

    const auto& event = *simulator->playerItem()->errorLog()->events().at(0);
    EXPECT_EQ(event.date()->timeIntervalSince1970(), 1'700'000'003.0);
    EXPECT_EQ(*event.URI(), "https://media.example.invalid/vod/a/800000/index.m3u8");
    EXPECT_EQ(*event.serverAddress(), "media.example.invalid");
    EXPECT_EQ(*event.playbackSessionID(), "SID-1");
    EXPECT_EQ(event.errorStatusCode(), 503);
    EXPECT_EQ(*event.errorDomain(), "CoreMediaErrorDomain");
    EXPECT_EQ(*event.errorComment(), "HTTP 503: Service Unavailable");
    EXPECT_EQ(simulator->playerItem()->error()->code(), -11819);
}

TEST_F(AVPlayerSimulation, FailuresBeforePlaybackPostNoEndNotificationAndLeaveNoLogs) {
    play("url https://a.invalid/x.mp4\nduration 5\nat 0 play\nat 1 fail item\n", 5'000);
    EXPECT_EQ(recorder->lines(),
              (Lines{"0 player.rate 1",
                     "1000 item.error AVFoundationErrorDomain/-11800/The operation could not be completed",
                     "1000 item.status 2", "1000 player.rate 0"}));
    EXPECT_EQ(simulator->playerItem()->accessLog(), nullptr);
    EXPECT_EQ(simulator->playerItem()->errorLog(), nullptr);

    play("asset other\nduration 5\nat 0.5 server-error 404\nat 1 fail player code=7 domain=D message=M\n",
         5'000);
    EXPECT_EQ(recorder->lines(), (Lines{"500 AVPlayerItemNewErrorLogEntryNotification",
                                        "1000 player.error D/7/M", "1000 player.status 2"}));
    const auto& event = *simulator->playerItem()->errorLog()->events().at(0);
    EXPECT_FALSE(event.URI().has_value());
    EXPECT_FALSE(event.serverAddress().has_value());
    EXPECT_FALSE(event.errorComment().has_value());
    EXPECT_FALSE(std::dynamic_pointer_cast<AVURLAsset>(simulator->playerItem()->asset()));
}

TEST_F(AVPlayerSimulation, LiveStreamAnnouncesIndefiniteDurationAndFinishesAfterItsLastStep) {
    Lines calls;
    play(
        "url https://live.example.invalid/c/master.m3u8\nduration live\n"
        "at 0 play\nat 1 ready\nat 10 fullscreen\nat 12 window\nat 14 fault-report E1 \"2.0\"\nat 15 "
        "stop-playback\n",
        20'000, std::make_shared<RecordingHost>(calls));
    EXPECT_EQ(recorder->linesStartingWith("item.duration"), (Lines{"1000 item.duration indefinite"}));
    EXPECT_TRUE(std::isnan(CMTimeGetSeconds(simulator->playerItem()->duration())));
    EXPECT_EQ(calls,
              (Lines{"10000 sizeChangedToFullScreen", "12000 sizeChangedToWindow",
                     "14000 viewerFaultReport E1 2.0", "15000 stopPlayback", "15000 scenarioDidFinish"}));
    // Live: still playing after the last step, and nothing ends it.
    EXPECT_TRUE(simulator->isFinished());
    EXPECT_FALSE(simulator->isPlaybackOver());
    EXPECT_DOUBLE_EQ(simulator->position(), 19.0);
    EXPECT_EQ(*simulator->playerItem()->accessLog()->events().at(0)->playbackType(), "LIVE");
}

TEST_F(AVPlayerSimulation, PausesAndRatesMoveThePlayheadAndTheEnd) {
    play(vodHeader + "at 0 ready\nat 1 play\nat 3 pause\nat 5 rate 2\nat 6 seek 19.5\n", 0);
    runFor(2'000);
    EXPECT_DOUBLE_EQ(simulator->position(), 1.0);
    runFor(3'000);
    EXPECT_DOUBLE_EQ(simulator->position(), 2.0);
    runFor(10'000);
    // 2 s at rate 2 after the pause-end, then 0.5 s of media left at rate 2 after the seek.
    EXPECT_EQ(recorder->linesStartingWith("AVPlayerItemDidPlayToEndTimeNotification"),
              (Lines{"6250 AVPlayerItemDidPlayToEndTimeNotification"}));
    EXPECT_DOUBLE_EQ(simulator->playerItem()->accessLog()->events().at(0)->durationWatched(), 4.5);
}

TEST_F(AVPlayerSimulation, AnObserverThatThrowsDoesNotStopTheScenario) {
    struct Thrower : QMObject {
        void observeValueForKeyPath(const std::string&, QMObject*, const QMKeyValueChange&, void*) override {
            throw QMIllegalStateException("observer failed");
        }
    };
    auto thrower = std::make_shared<Thrower>();
    play(vodHeader + "at 0 ready\nat 1 play\n", 0);
    simulator->player()->addObserver(thrower.get(), "rate", NSKeyValueObservingOptionNew, nullptr);
    runFor(30'000);
    simulator->player()->removeObserver(thrower.get(), "rate");
    EXPECT_EQ(console.lines(),
              (Lines{"QMPlayerSimulator: play (line 7) raised: observer failed",
                     "QMPlayerSimulator: end of the media (line 0) raised: observer failed"}));
    // The end pauses the player first: the exception from that change leaves the end notification
    // unposted, and the pause in place.
    EXPECT_EQ(recorder->linesStartingWith("player.rate"),
              (Lines{"1000 player.rate 1", "21000 player.rate 0"}));
    EXPECT_EQ(recorder->linesStartingWith("AVPlayerItemDidPlayToEndTimeNotification"), Lines{});
    EXPECT_EQ(simulator->player()->rate(), 0.0f);
    EXPECT_TRUE(simulator->isFinished());
}

}  // namespace veyrakit
