#include <gtest/gtest.h>

#include <algorithm>
#include <any>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "contract/QMSimulatorContractDriver.h"
#ifdef VEYRAKIT_WITH_GSTREAMER
#include "contract/QMGStreamerContractDriver.h"
#endif
#include "platform/QMThreadChecker.h"
#include "support/QMTestEnvironment.h"
#include "unit/simulator/QMModelRecorder.h"
#include "veyrakit/platform/QMNotificationCenter.h"
#include "veyrakit/platform/avfoundation/AVPlayerItemNotifications.h"
#include "veyrakit/platform/mediaplayer/MPMoviePlayerNotifications.h"

namespace veyrakit {

// The orders of docs/driver-contract.md, checked against every driver listed at the bottom. Each
// case schedules a few events, records what an observer of the models sees and compares it line
// by line ("<ms after start> <what> <value>").

namespace {

using Lines = std::vector<std::string>;
using Kind = QMContractDriver::Kind;
using DriverFactory = std::function<std::unique_ptr<QMContractDriver>()>;

struct NamedDriver {
    std::string name;
    DriverFactory make;
};

// Test names and failure messages show the driver by its name.
void PrintTo(const NamedDriver& driver, std::ostream* os) { *os << driver.name; }

class DriverContract : public QMVirtualTimeTest, public ::testing::WithParamInterface<NamedDriver> {
  protected:
    void drive(QMContractDriver::Media media, const std::vector<std::pair<int64_t, std::string>>& events,
               int64_t forMillis) {
        driver = GetParam().make();
        driver->load(media);
        for (const auto& [at, event] : events) {
            driver->schedule(at, event);
        }
        recorder = std::make_shared<QMModelRecorder>();
        if (media.kind == Kind::AVPlayer) {
            recorder->watch(driver->avPlayer());
        } else {
            recorder->watch(driver->mpMoviePlayer());
        }
        driver->start();
        driver->runFor(forMillis);
        // Every change reached its observers on the main run loop's thread.
        EXPECT_TRUE(QMThreadChecker::isOnMainLoopThread());
    }
    // The recorded lines from the first one at `fromMillis` on.
    Lines from(int64_t fromMillis) const {
        Lines found;
        for (const auto& line : recorder->lines()) {
            if (std::stoll(line.substr(0, line.find(' '))) >= fromMillis) {
                found.push_back(line);
            }
        }
        return found;
    }
    // The recorded lines without their times: a real player keeps its own time, the order is the
    // contract's.
    Lines order() const {
        Lines found;
        for (const auto& line : recorder->lines()) {
            found.push_back(line.substr(line.find(' ') + 1));
        }
        return found;
    }
    // The lines from the first one that starts with `what` on, without their times.
    Lines orderFrom(const std::string& what) const {
        Lines all = order();
        auto first =
            std::find_if(all.begin(), all.end(), [&](const auto& line) { return line.starts_with(what); });
        return Lines(first, all.end());
    }
    void TearDown() override {
        recorder.reset();
        driver.reset();
        QMVirtualTimeTest::TearDown();
    }

    std::unique_ptr<QMContractDriver> driver;
    std::shared_ptr<QMModelRecorder> recorder;
};

// The cases whose events happen at exact times on the virtual clock: for the drivers that time
// every event (QMContractDriver::timesEveryEvent).
class ScriptedDriverContract : public DriverContract {};

const QMContractDriver::Media vod{Kind::AVPlayer, false, false};
const QMContractDriver::Media mpMoviePlayerMedia{Kind::MPMoviePlayer, false, false};

}  // namespace

TEST_P(ScriptedDriverContract, AVPlayerLoadingReadyPlayPauseAndRate) {
    drive(vod, {{0, "play"}, {1000, "ready"}, {3000, "pause"}, {4000, "rate 1.5"}}, 5000);
    EXPECT_EQ(recorder->lines(),
              (Lines{"0 player.rate 1", "1000 player.status 1", "1000 item.status 1", "1000 item.duration 20",
                     "1000 item.presentationSize 960x540", "1000 item.playbackBufferEmpty NO",
                     "1000 item.playbackLikelyToKeepUp YES", "1000 AVPlayerItemNewAccessLogEntryNotification",
                     "3000 player.rate 0", "4000 player.rate 1.5"}));
}

TEST_P(ScriptedDriverContract, AVPlayerStallKeepsTheRateAndRecovers) {
    drive(vod, {{0, "ready"}, {0, "play"}, {1000, "buffer-full"}, {2000, "stall"}, {3000, "recover"}}, 4000);
    EXPECT_EQ(from(1000),
              (Lines{"1000 item.playbackBufferFull YES", "2000 item.playbackBufferFull NO",
                     "2000 item.playbackLikelyToKeepUp NO", "2000 item.playbackBufferEmpty YES",
                     "2000 AVPlayerItemPlaybackStalledNotification", "3000 item.playbackBufferEmpty NO",
                     "3000 item.playbackLikelyToKeepUp YES"}));
    EXPECT_EQ(driver->avPlayer()->rate(), 1.0f);
    // One second of the four was spent waiting for data.
    EXPECT_DOUBLE_EQ(CMTimeGetSeconds(driver->avPlayer()->currentTime()), 3.0);
}

TEST_P(ScriptedDriverContract, AVPlayerOlderStallDropsTheRateFirst) {
    drive({Kind::AVPlayer, false, true}, {{0, "ready"}, {0, "play"}, {2000, "stall"}, {3000, "recover"}},
          4000);
    EXPECT_EQ(from(2000),
              (Lines{"2000 player.rate 0", "2000 item.playbackLikelyToKeepUp NO",
                     "2000 item.playbackBufferEmpty YES", "2000 AVPlayerItemPlaybackStalledNotification",
                     "3000 item.playbackBufferEmpty NO", "3000 item.playbackLikelyToKeepUp YES",
                     "3000 player.rate 1"}));
}

TEST_P(ScriptedDriverContract, AVPlayerSeekSwitchAndLogEntries) {
    drive(vod,
          {{0, "bitrate 1500000"},
           {0, "ready"},
           {0, "play"},
           {1000, "seek 10"},
           {2000, "bitrate 800000"},
           {3000, "server-error 503"}},
          4000);
    // The switch before playback started announces nothing: the first event carries it.
    EXPECT_EQ(recorder->linesStartingWith("item.presentationSize"),
              (Lines{"0 item.presentationSize 1280x720", "2000 item.presentationSize 960x540"}));
    EXPECT_EQ(
        from(1000),
        (Lines{"1000 AVPlayerItemTimeJumpedNotification", "2000 AVPlayerItemNewAccessLogEntryNotification",
               "2000 item.presentationSize 960x540", "3000 AVPlayerItemNewErrorLogEntryNotification"}));
    EXPECT_DOUBLE_EQ(driver->avPlayer()->currentItem()->accessLog()->events()[0]->indicatedBitrate(),
                     1500000.0);
}

TEST_P(ScriptedDriverContract, AVPlayerFailuresOfItemAndPlayer) {
    drive(vod, {{0, "ready"}, {0, "play"}, {1000, "fail"}}, 2000);
    EXPECT_EQ(from(1000),
              (Lines{"1000 item.error AVFoundationErrorDomain/-11800/The operation could not be completed",
                     "1000 item.status 2",
                     "1000 AVPlayerItemFailedToPlayToEndTimeNotification "
                     "AVFoundationErrorDomain/-11800/The operation could not be completed",
                     "1000 player.rate 0"}));
    drive(vod, {{0, "ready"}, {0, "play"}, {1000, "fail player"}}, 2000);
    EXPECT_EQ(from(1000),
              (Lines{"1000 player.error AVFoundationErrorDomain/-11800/The operation could not be completed",
                     "1000 player.status 2", "1000 player.rate 0"}));
}

TEST_P(ScriptedDriverContract, AVPlayerPausesBeforeTheEndNotification) {
    // What an observer of the end reads from the player when it arrives.
    std::vector<float> ratesAtEnd;
    drive(vod, {{0, "ready"}, {0, "play"}}, 0);
    auto player = driver->avPlayer();
    QMNotificationCenter::defaultCenter()->addObserver(
        this, AVPlayerItemDidPlayToEndTimeNotification, player->currentItem().get(),
        [&](const QMNotification&) { ratesAtEnd.push_back(player->rate()); });
    runFor(30'000);
    QMNotificationCenter::defaultCenter()->removeObserver(this);
    EXPECT_EQ(from(1), (Lines{"20000 player.rate 0", "20000 AVPlayerItemDidPlayToEndTimeNotification"}));
    EXPECT_EQ(ratesAtEnd, (std::vector<float>{0.0f}));
}

TEST_P(ScriptedDriverContract, AVPlayerStopOnlyPauses) {
    drive(vod, {{0, "ready"}, {0, "play"}, {1000, "stop"}}, 30'000);
    EXPECT_EQ(from(1000), (Lines{"1000 player.rate 0"}));
}

TEST_P(ScriptedDriverContract, AVPlayerPeriodicTimeObserverFollowsTheTimeline) {
    std::vector<std::string> calls;
    drive(vod,
          {{0, "ready"},
           {500, "play"},
           {1600, "pause"},
           {3000, "play"},
           {3100, "seek 10"},
           {3300, "stall"},
           {5000, "recover"}},
          0);
    auto player = driver->avPlayer();
    auto token = player->addPeriodicTimeObserverForInterval(
        CMTimeMakeWithSeconds(0.5, 1000000000), nullptr, [&](CMTime time) {
            calls.push_back(std::to_string(now() - startMillis) + "@" +
                            std::to_string(static_cast<int>(CMTimeGetSeconds(time) * 1000.0)));
        });
    runFor(5600);
    player->removeTimeObserver(token);
    // Nothing while loaded and paused; the start at 0.5 s, ticks at 0.5 and 1 s of media, the stop
    // at 1.1; the start at 3 s, the jump, the stall's stop before 10.5 is reached, the recovery's
    // start and the tick at 10.5.
    EXPECT_EQ(calls, (Lines{"500@0", "1000@500", "1500@1000", "1600@1100", "3000@1100", "3100@10000",
                            "3300@10200", "5000@10200", "5300@10500"}));
}

TEST_P(ScriptedDriverContract, MPMoviePlayerReadyPlayStallSeekAndEnd) {
    drive(mpMoviePlayerMedia,
          {{0, "play"},
           {1000, "ready"},
           {2000, "buffer-full"},
           {3000, "stall"},
           {4000, "recover"},
           {5000, "seek 15"},
           {6000, "pause"},
           {7000, "play"}},
          20'000);
    EXPECT_EQ(recorder->lines(), (Lines{"0 MPMoviePlayerPlaybackStateDidChangeNotification 1",
                                        "0 MPMoviePlayerLoadStateDidChangeNotification 4",
                                        "1000 MPMovieSourceTypeAvailableNotification 2",
                                        "1000 MPMovieMediaTypesAvailableNotification 3",
                                        "1000 MPMovieDurationAvailableNotification 20",
                                        "1000 MPMovieNaturalSizeAvailableNotification 960x540",
                                        "1000 MPMoviePlayerLoadStateDidChangeNotification 1",
                                        "1000 MPMoviePlayerReadyForDisplayDidChangeNotification YES",
                                        "2000 MPMoviePlayerLoadStateDidChangeNotification 3",
                                        "3000 MPMoviePlayerLoadStateDidChangeNotification 4",
                                        "4000 MPMoviePlayerLoadStateDidChangeNotification 1",
                                        "5000 MPMoviePlayerPlaybackStateDidChangeNotification 4",
                                        "5000 MPMoviePlayerPlaybackStateDidChangeNotification 1",
                                        "6000 MPMoviePlayerPlaybackStateDidChangeNotification 2",
                                        "7000 MPMoviePlayerPlaybackStateDidChangeNotification 1",
                                        "11000 MPMoviePlayerPlaybackDidFinishNotification reason=0",
                                        "11000 MPMoviePlayerPlaybackStateDidChangeNotification 0"}));
}

TEST_P(ScriptedDriverContract, MPMoviePlayerFailureAndStop) {
    drive(mpMoviePlayerMedia, {{0, "ready"}, {0, "play"}, {1000, "fail"}}, 2000);
    EXPECT_EQ(from(1000), (Lines{"1000 MPMoviePlayerPlaybackDidFinishNotification reason=1 "
                                 "error=AVFoundationErrorDomain/-11800/The operation could not be completed",
                                 "1000 MPMoviePlayerPlaybackStateDidChangeNotification 0"}));
    drive(mpMoviePlayerMedia, {{0, "ready"}, {0, "play"}, {1000, "stop"}}, 2000);
    EXPECT_EQ(from(1000), (Lines{"1000 MPMoviePlayerPlaybackDidFinishNotification reason=2",
                                 "1000 MPMoviePlayerPlaybackStateDidChangeNotification 0"}));
}

// The order of every event both a scripted and a real player produce, checked against every
// driver.

TEST_P(DriverContract, AVPlayerLoadsPlaysPausesSeeksAndPlaysToTheEnd) {
    drive(vod, {{0, "play"}, {0, "ready"}, {1500, "pause"}, {2000, "play"}, {2500, "seek 6"}}, 30'000);
    const auto facts = driver->facts();
    EXPECT_EQ(order(),
              (Lines{"player.rate 1", "player.status 1", "item.status 1", "item.duration " + facts.duration,
                     "item.presentationSize " + facts.pictureSize, "item.playbackBufferEmpty NO",
                     "item.playbackLikelyToKeepUp YES", "AVPlayerItemNewAccessLogEntryNotification",
                     "player.rate 0", "player.rate 1", "AVPlayerItemTimeJumpedNotification", "player.rate 0",
                     "AVPlayerItemDidPlayToEndTimeNotification"}));
}

TEST_P(DriverContract, AVPlayerStallsAtTheViewersRateAndRecovers) {
    drive(vod, {{0, "play"}, {0, "ready"}, {2000, "stall"}, {3500, "recover"}}, 30'000);
    EXPECT_EQ(orderFrom("item.playbackLikelyToKeepUp NO"),
              (Lines{"item.playbackLikelyToKeepUp NO", "item.playbackBufferEmpty YES",
                     "AVPlayerItemPlaybackStalledNotification", "item.playbackBufferEmpty NO",
                     "item.playbackLikelyToKeepUp YES", "player.rate 0",
                     "AVPlayerItemDidPlayToEndTimeNotification"}));
    const auto& events = driver->avPlayer()->currentItem()->accessLog()->events();
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events.front()->numberOfStalls(), 1);
}

TEST_P(DriverContract, AVPlayerItemFailsOnceWithItsErrorAndNothingFollows) {
    drive(vod, {{0, "play"}, {0, "ready"}, {2000, "fail"}}, 30'000);
    const auto& item = driver->avPlayer()->currentItem();
    ASSERT_TRUE(item->error());
    EXPECT_EQ(item->error()->domain(), "AVFoundationErrorDomain");
    const std::string error = item->error()->domain() + "/" + std::to_string(item->error()->code()) + "/" +
                              item->error()->localizedDescription();
    EXPECT_EQ(orderFrom("item.error"),
              (Lines{"item.error " + error, "item.status 2",
                     "AVPlayerItemFailedToPlayToEndTimeNotification " + error, "player.rate 0"}));
}

TEST_P(DriverContract, MPMoviePlayerLoadsPlaysPausesSeeksAndPlaysToTheEnd) {
    drive(mpMoviePlayerMedia,
          {{0, "play"}, {0, "ready"}, {0, "buffer-full"}, {1500, "pause"}, {2000, "play"}, {2500, "seek 6"}},
          30'000);
    const auto facts = driver->facts();
    EXPECT_EQ(order(),
              (Lines{"MPMoviePlayerPlaybackStateDidChangeNotification 1",
                     "MPMoviePlayerLoadStateDidChangeNotification 4",
                     "MPMovieSourceTypeAvailableNotification 2", "MPMovieMediaTypesAvailableNotification 3",
                     "MPMovieDurationAvailableNotification " + facts.duration,
                     "MPMovieNaturalSizeAvailableNotification " + facts.pictureSize,
                     "MPMoviePlayerLoadStateDidChangeNotification 1",
                     "MPMoviePlayerReadyForDisplayDidChangeNotification YES",
                     "MPMoviePlayerLoadStateDidChangeNotification 3",
                     "MPMoviePlayerPlaybackStateDidChangeNotification 2",
                     "MPMoviePlayerPlaybackStateDidChangeNotification 1",
                     "MPMoviePlayerPlaybackStateDidChangeNotification 4",
                     "MPMoviePlayerPlaybackStateDidChangeNotification 1",
                     "MPMoviePlayerPlaybackDidFinishNotification reason=0",
                     "MPMoviePlayerPlaybackStateDidChangeNotification 0"}));
}

TEST_P(DriverContract, MPMoviePlayerStallsWhilePlayingAndRecovers) {
    drive(mpMoviePlayerMedia,
          {{0, "play"},
           {0, "ready"},
           {0, "buffer-full"},
           {2000, "stall"},
           {3500, "recover"},
           {3500, "buffer-full"}},
          30'000);
    EXPECT_EQ(
        orderFrom("MPMoviePlayerLoadStateDidChangeNotification 3"),
        (Lines{
            "MPMoviePlayerLoadStateDidChangeNotification 3", "MPMoviePlayerLoadStateDidChangeNotification 4",
            "MPMoviePlayerLoadStateDidChangeNotification 1", "MPMoviePlayerLoadStateDidChangeNotification 3",
            "MPMoviePlayerPlaybackDidFinishNotification reason=0",
            "MPMoviePlayerPlaybackStateDidChangeNotification 0"}));
    const auto& events = driver->mpMoviePlayer()->accessLog()->events();
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events.front()->numberOfStalls(), 1);
}

TEST_P(DriverContract, MPMoviePlayerFinishesWithThePlaybackErrorAndStops) {
    // The error the finish carries, read when it arrives.
    std::shared_ptr<QMError> carried;
    drive(mpMoviePlayerMedia, {{0, "play"}, {0, "ready"}, {2000, "fail"}}, 0);
    QMNotificationCenter::defaultCenter()->addObserver(
        this, MPMoviePlayerPlaybackDidFinishNotification, nullptr, [&](const QMNotification& note) {
            const auto error = note.userInfo().find(MPMoviePlayerPlaybackDidFinishErrorUserInfoKey);
            if (error != note.userInfo().end())
                carried = std::any_cast<std::shared_ptr<QMError>>(error->second);
        });
    driver->runFor(30'000);
    QMNotificationCenter::defaultCenter()->removeObserver(this);
    ASSERT_TRUE(carried);
    EXPECT_EQ(carried->domain(), "AVFoundationErrorDomain");
    EXPECT_EQ(orderFrom("MPMoviePlayerPlaybackDidFinishNotification"),
              (Lines{"MPMoviePlayerPlaybackDidFinishNotification reason=1 error=AVFoundationErrorDomain/" +
                         std::to_string(carried->code()) + "/" + carried->localizedDescription(),
                     "MPMoviePlayerPlaybackStateDidChangeNotification 0"}));
    EXPECT_EQ(driver->mpMoviePlayer()->playbackState(), MPMoviePlaybackStateStopped);
}

namespace {

std::vector<NamedDriver> allDrivers() {
    std::vector<NamedDriver> drivers{
        {"Simulator", [] { return std::make_unique<QMSimulatorContractDriver>(); }}};
#ifdef VEYRAKIT_WITH_GSTREAMER
    drivers.push_back({"GStreamer", [] { return std::make_unique<QMGStreamerContractDriver>(); }});
#endif
    return drivers;
}

std::vector<NamedDriver> driversTimingEveryEvent() {
    std::vector<NamedDriver> drivers;
    for (const auto& driver : allDrivers()) {
        if (driver.make()->timesEveryEvent()) drivers.push_back(driver);
    }
    return drivers;
}

std::string nameOf(const ::testing::TestParamInfo<NamedDriver>& param) { return param.param.name; }

}  // namespace

INSTANTIATE_TEST_SUITE_P(Drivers, DriverContract, ::testing::ValuesIn(allDrivers()), nameOf);
INSTANTIATE_TEST_SUITE_P(Drivers, ScriptedDriverContract, ::testing::ValuesIn(driversTimingEveryEvent()),
                         nameOf);

}  // namespace veyrakit
