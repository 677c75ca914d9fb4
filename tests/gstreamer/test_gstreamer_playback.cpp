#include <gtest/gtest.h>

#include <algorithm>
#include <any>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "facade/QMMonitoringSessions.h"
#include "gstreamer/QMCollectedReports.h"
#include "gstreamer/QMLoopbackCollector.h"
#include "platform/QMURLSession.h"
#include "players/avplayer/QMAVPlayerVeyraPlugin.h"
#include "players/mpmovieplayer/QMMPMoviePlayerControllerVeyraPlugin.h"
#include "support/QMDefaultPortGuard.h"
#include "support/QMTestEnvironment.h"
#include "support/QMTestMediaServer.h"
#include "veyrakit/VeyraKit.h"
#include "veyrakit/gstreamer/QMGStreamerAVPlayerDriver.h"
#include "veyrakit/gstreamer/QMGStreamerMPMoviePlayerDriver.h"
#include "veyrakit/platform/QMNotificationCenter.h"
#include "veyrakit/platform/avfoundation/AVError.h"
#include "veyrakit/platform/avfoundation/AVPlayerItemNotifications.h"
#include "veyrakit/platform/mediaplayer/MPMoviePlayerNotifications.h"

namespace veyrakit {

// Real media played by the GStreamer backend in real time on the real main loop, monitored by the
// SDK, reported over loopback to the reference collector.

using Json = nlohmann::ordered_json;

namespace {

// The ladder of scripts/make-test-media as the HLS demuxer announces it (AVERAGE-BANDWIDTH), with
// each variant's picture.
const std::map<int64_t, std::pair<double, double>> kLadder{
    {160000, {160, 90}}, {320000, {320, 180}}, {640000, {480, 270}}};

int64_t wallMillis() {
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

class GStreamerPlayback : public QMVirtualTimeTest {
  protected:
    void SetUp() override {
        QMVirtualTimeTest::SetUp();
        QMRunLoop::setMainRunLoop(realLoop);
        stubs().disable();
        collector = std::make_unique<QMLoopbackCollector>();
        collector->receiveDiagnosticEvents();
        std::cout << "test media made in " << media.makingMillis() << " ms\n";
    }
    void TearDown() override {
        driver.reset();
        mpMoviePlayerDriver.reset();
        // The host drops its movie player plugin: the plugin's own two player observations go
        // with it (its finish left them in place).
        if (auto plugin = mpMoviePlayerPlugin()) plugin->dispose();
        // The host's stop ends the AVPlayer's diagnostic reporter, which the tear-down left running.
        QMVeyraKit::stopPlayback();
        QMMonitoringSessions::setCurrentAVPlayerMonitoringSession(nullptr);
        QMMonitoringSessions::setCurrentMPMoviePlayerMonitoringSession(nullptr);
        QMNotificationCenter::defaultCenter()->removeObserver(this);
        QMVirtualTimeTest::TearDown();
        // The cached connections go before the servers stop, which would otherwise wait for them
        // to time out.
        QMURLSession::sharedSession()->shutdown();
        realLoop.reset();
        collector->stop();
    }

    static std::shared_ptr<QMAVPlayerVeyraPlugin> plugin() {
        return std::dynamic_pointer_cast<QMAVPlayerVeyraPlugin>(
            QMMonitoringSessions::currentAVPlayerMonitoringSession());
    }

    // Plays `path` of the media (or a whole URL) to its end (or failure) under monitoring, and lets the last
    // reports land.
    void play(const std::string& path) {
        player = AVPlayer::playerWithURL(
            QMURL::URLWithString(path.starts_with("http://") ? path : media.url(path)));
        QMNotificationCenter::defaultCenter()->addObserver(
            this, AVPlayerItemDidPlayToEndTimeNotification, player->currentItem().get(),
            [this](const QMNotification&) { endMillis = wallMillis(); });
        QMVeyraKit::pluginWithAVPlayer(player, "A-1", collector->baseURL(), "C-1", "VOD", "Test pattern",
                                       "V-1", std::nullopt, std::nullopt);
        tracePath = plugin()->pieReporter()->logFile()->path();
        driver = QMGStreamerAVPlayerDriver::driverWithPlayer(player);
        player->play();
        const auto started = std::chrono::steady_clock::now();
        ASSERT_TRUE(realLoop->runUntil(
            [&] { return driver->isOver() && plugin()->destroyed() && realLoop->transferCount() == 0; },
            15'000));
        realLoop->runUntil([&] { return realLoop->outsideWorkCount() == 0; }, 2'000);
        std::cout << "played in "
                  << std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() -
                                                                           started)
                         .count()
                  << " ms\n";
        sessionId = plugin()->sessionId().value_or("");
    }

    static std::shared_ptr<QMMPMoviePlayerControllerVeyraPlugin> mpMoviePlayerPlugin() {
        return std::dynamic_pointer_cast<QMMPMoviePlayerControllerVeyraPlugin>(
            QMMonitoringSessions::currentMPMoviePlayerMonitoringSession());
    }

    // Plays `path` of the media with a movie player to its finish under monitoring, and lets the
    // last reports land.
    void playMPMoviePlayer(const std::string& path) {
        mpMoviePlayer = std::make_shared<MPMoviePlayerController>(QMURL::URLWithString(media.url(path)));
        QMNotificationCenter::defaultCenter()->addObserver(
            this, MPMoviePlayerPlaybackDidFinishNotification, mpMoviePlayer.get(),
            [this](const QMNotification& notification) {
                finishReasons.push_back(std::any_cast<long>(
                    notification.userInfo().at(MPMoviePlayerPlaybackDidFinishReasonUserInfoKey)));
            });
        QMVeyraKit::pluginWithMPMoviePlayerController(mpMoviePlayer, "A-1", collector->baseURL(), "C-1",
                                                      "VOD", "Test pattern", "V-1", std::nullopt,
                                                      std::nullopt);
        mpMoviePlayerDriver = QMGStreamerMPMoviePlayerDriver::driverWithPlayer(mpMoviePlayer);
        mpMoviePlayer->play();
        ASSERT_TRUE(realLoop->runUntil(
            [&] {
                return mpMoviePlayerDriver->isOver() && mpMoviePlayerPlugin()->destroyed() &&
                       realLoop->transferCount() == 0;
            },
            15'000));
        // The pipeline's last bus messages, posted while it was brought down, find no listener.
        realLoop->runUntil([&] { return realLoop->outsideWorkCount() == 0 && realLoop->taskCount() == 0; },
                           2'000);
        sessionId = mpMoviePlayerPlugin()->sessionId().value_or("");
    }

    // The session's reports in pulse order, each with the time it arrived.
    std::vector<std::pair<Json, int64_t>> reports() const {
        return QMCollectedReports(*collector, sessionId).all();
    }
    std::string types() const { return QMCollectedReports(*collector, sessionId).types(); }
    // The bytes of the media segments the server sent (the playlists are not counted).
    int64_t servedSegmentBytes() {
        int64_t bytes = 0;
        for (const auto& path : media.requestedPaths()) {
            if (path.ends_with(".ts"))
                bytes += static_cast<int64_t>(std::filesystem::file_size(media.directory() + path));
        }
        return bytes;
    }

    QMTestMediaServer media;
    std::shared_ptr<QMRunLoop> realLoop = QMDefaultPortGuard::guardedLoop();
    std::unique_ptr<QMLoopbackCollector> collector;
    std::shared_ptr<AVPlayer> player;
    std::shared_ptr<QMGStreamerAVPlayerDriver> driver;
    std::shared_ptr<MPMoviePlayerController> mpMoviePlayer;
    std::shared_ptr<QMGStreamerMPMoviePlayerDriver> mpMoviePlayerDriver;
    std::vector<long> finishReasons;
    std::string sessionId;
    std::string tracePath;
    int64_t endMillis = 0;
};

}  // namespace

TEST_F(GStreamerPlayback, AnHLSLadderPlaysToTheEndAndTheCollectorSeesACleanSession) {
    play("master.m3u8");
    ASSERT_FALSE(sessionId.empty());

    // The models as the player left them: played through on a variant of the ladder.
    const auto& item = player->currentItem();
    EXPECT_EQ(player->status(), AVPlayerStatusReadyToPlay);
    EXPECT_EQ(item->status(), AVPlayerItemStatusReadyToPlay);
    EXPECT_EQ(player->rate(), 0.0f);
    EXPECT_DOUBLE_EQ(CMTimeGetSeconds(item->duration()), 6.0);
    ASSERT_TRUE(item->accessLog());
    const auto events = item->accessLog()->events();
    ASSERT_FALSE(events.empty());
    const auto& last = events.back();
    ASSERT_EQ(kLadder.count(static_cast<int64_t>(last->indicatedBitrate())), 1u) << last->indicatedBitrate();
    const auto size = kLadder.at(static_cast<int64_t>(last->indicatedBitrate()));
    EXPECT_EQ(item->presentationSize().width, size.first);
    EXPECT_EQ(item->presentationSize().height, size.second);
    EXPECT_TRUE(last->URI()->starts_with(media.url("v"))) << *last->URI();
    EXPECT_TRUE(last->URI()->ends_with("/index.m3u8")) << *last->URI();
    EXPECT_EQ(last->playbackType(), "VOD");
    EXPECT_GT(events.front()->startupTime(), 0.0);
    EXPECT_FALSE(item->errorLog());

    // The reports: the start, the join, the duration, a periodical report a second, the bitrates
    // of the ladder, and the completion right after the end of the stream.
    const auto sent = reports();
    const std::string kinds = types();
    EXPECT_EQ(kinds.front(), 'S') << kinds;
    EXPECT_EQ(std::count(kinds.begin(), kinds.end(), 'J'), 1) << kinds;
    EXPECT_EQ(std::count(kinds.begin(), kinds.end(), 'D'), 1) << kinds;
    EXPECT_EQ(std::count(kinds.begin(), kinds.end(), 'E'), 0) << kinds;
    EXPECT_TRUE(kinds.starts_with("SPDJ") || kinds.starts_with("SPJD")) << kinds;
    EXPECT_GE(std::count(kinds.begin(), kinds.end(), 'P'), 6) << kinds;
    std::set<int64_t> bitrates;
    for (const auto& [report, at] : sent) {
        if (report.contains("currentBitRate")) bitrates.insert(report["currentBitRate"].get<int64_t>());
        if (report["type"] == "J") {
            EXPECT_GT(report["joinTime"].get<int64_t>(), 0);
            EXPECT_LT(report["joinTime"].get<int64_t>(), 3000);
        }
    }
    ASSERT_FALSE(bitrates.empty());
    for (int64_t bitrate : bitrates) EXPECT_EQ(kLadder.count(bitrate), 1u) << bitrate;
    const auto& [final, arrived] = sent.back();
    EXPECT_EQ(final["type"], "P");
    EXPECT_EQ(final["playbackCompleted"], true);
    EXPECT_EQ(final["assetDuration"], "6");
    // Six seconds of media played in real time, with no stall after the join.
    EXPECT_NEAR(std::stoll(final["totalPlayingTime"].get<std::string>()), 6000, 300);
    EXPECT_EQ(final["totalBufferingTime"], "0");
    ASSERT_GT(endMillis, 0);
    EXPECT_GE(arrived, endMillis);
    EXPECT_LT(arrived - endMillis, 1000);

    // The collector's own verdict.
    auto analysis = collector->analyzeSession(sessionId, /*assumeFinished=*/true);
    ASSERT_TRUE(analysis);
    const Json json = analysis->toJSON();
    EXPECT_EQ(json["summary"]["state"], "completed");
    EXPECT_EQ(json["summary"]["durationSeconds"], 6);
    EXPECT_EQ(json["summary"]["errors"], 0);
    for (const auto& check : json["checks"]) EXPECT_NE(check["status"], "failed") << check.dump();
    for (const char* name : {"init.wellFormed", "report.wellFormed", "values.types", "pulse.gapFree",
                             "periodical.sequence", "joinTime.once", "duration.once", "completion.final"}) {
        ASSERT_TRUE(analysis->check(name)) << name;
        EXPECT_EQ(analysis->check(name)->status(), QMProtocolCheck::Status::Passed) << name;
    }
}

TEST_F(GStreamerPlayback, AMissingSegmentFailsTheItemAndEndsTheSessionWithAPlaybackError) {
    for (const char* variant : {"v0", "v1", "v2"}) media.remove(std::string(variant) + "/seg1.ts");
    play("master.m3u8");
    ASSERT_FALSE(sessionId.empty());

    const auto& item = player->currentItem();
    EXPECT_EQ(item->status(), AVPlayerItemStatusFailed);
    ASSERT_TRUE(item->error());
    EXPECT_EQ(item->error()->domain(), "AVFoundationErrorDomain");
    EXPECT_EQ(item->error()->code(), AVErrorServerIncorrectlyConfigured);
    ASSERT_TRUE(item->errorLog());
    const auto& logged = item->errorLog()->events().back();
    EXPECT_EQ(logged->errorStatusCode(), 404);
    EXPECT_EQ(logged->errorDomain(), "CoreMediaErrorDomain");
    EXPECT_EQ(player->rate(), 0.0f);
    EXPECT_EQ(endMillis, 0);

    const std::string kinds = types();
    EXPECT_EQ(kinds.front(), 'S') << kinds;
    EXPECT_EQ(kinds.back(), 'E') << kinds;
    EXPECT_EQ(std::count(kinds.begin(), kinds.end(), 'E'), 1) << kinds;
    auto analysis = collector->analyzeSession(sessionId, /*assumeFinished=*/true);
    ASSERT_TRUE(analysis);
    EXPECT_EQ(analysis->toJSON()["summary"]["errors"], 1);
}

TEST_F(GStreamerPlayback, AnMP4FilePlaysToTheEndWithOneAccessLogEventForTheFile) {
    play("clip.mp4");
    ASSERT_FALSE(sessionId.empty());

    // No ladder: one event for the whole file, with no indicated bitrate to report.
    const auto& item = player->currentItem();
    ASSERT_TRUE(item->accessLog());
    ASSERT_EQ(item->accessLog()->events().size(), 1u);
    const auto& event = item->accessLog()->events().front();
    EXPECT_EQ(event->URI(), media.url("clip.mp4"));
    EXPECT_EQ(event->playbackType(), "FILE");
    EXPECT_EQ(event->indicatedBitrate(), -1.0);
    EXPECT_EQ(item->presentationSize().width, 320);
    EXPECT_EQ(item->presentationSize().height, 180);
    EXPECT_DOUBLE_EQ(std::round(CMTimeGetSeconds(item->duration())), 6.0);

    const auto sent = reports();
    const auto& [final, arrived] = sent.back();
    EXPECT_EQ(final["playbackCompleted"], true);
    EXPECT_EQ(final["assetDuration"], "6");
    EXPECT_FALSE(final.contains("currentBitRate"));
    EXPECT_LT(arrived - endMillis, 1000);
    auto analysis = collector->analyzeSession(sessionId, /*assumeFinished=*/true);
    ASSERT_TRUE(analysis);
    EXPECT_EQ(analysis->toJSON()["summary"]["state"], "completed");
}

TEST_F(GStreamerPlayback, ASegmentLateByASecondAndAHalfIsOneStallAtTheViewersRateThenPlaybackGoesOn) {
    // Four seconds of media are in hand when the third segment is asked for; it comes 5.5 s later.
    for (const char* variant : {"v0", "v1", "v2"}) media.delay(std::string(variant) + "/seg2.ts", 5'500);
    std::vector<float> ratesAtStalls;
    QMNotificationCenter::defaultCenter()->addObserver(
        this, AVPlayerItemPlaybackStalledNotification, nullptr,
        [&](const QMNotification&) { ratesAtStalls.push_back(player->rate()); });
    play("master.m3u8");
    ASSERT_FALSE(sessionId.empty());

    EXPECT_EQ(ratesAtStalls, std::vector<float>{1.0f});
    const auto& item = player->currentItem();
    ASSERT_TRUE(item->accessLog());
    EXPECT_EQ(item->accessLog()->events().back()->numberOfStalls(), 1);
    EXPECT_FALSE(item->playbackBufferEmpty());
    EXPECT_TRUE(item->playbackLikelyToKeepUp());

    const auto sent = reports();
    const auto& final = sent.back().first;
    EXPECT_EQ(final["playbackCompleted"], true);
    const int64_t buffering = std::stoll(final["totalBufferingTime"].get<std::string>());
    EXPECT_GT(buffering, 800);
    EXPECT_LT(buffering, 3000);
    EXPECT_NEAR(std::stoll(final["totalPlayingTime"].get<std::string>()), 6000, 300);
    auto analysis = collector->analyzeSession(sessionId, /*assumeFinished=*/true);
    ASSERT_TRUE(analysis);
    EXPECT_EQ(analysis->toJSON()["summary"]["state"], "completed");
}

TEST_F(GStreamerPlayback, ThePipelineFollowsTheAppsPauseAndSeek) {
    // Paused from 1 s to 2 s, then on from the 4 s mark: 2 s of media left.
    realLoop->postAfter(1'000'000, [this] { player->pause(); });
    realLoop->postAfter(2'000'000, [this] {
        player->seekToTime(CMTimeMake(4, 1));
        player->play();
    });
    const auto started = std::chrono::steady_clock::now();
    play("master.m3u8");
    const auto took =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - started)
            .count();
    ASSERT_FALSE(sessionId.empty());

    EXPECT_GT(took, 3'800);
    EXPECT_LT(took, 5'000);
    const auto sent = reports();
    const auto& final = sent.back().first;
    EXPECT_EQ(final["playbackCompleted"], true);
    // About one second before the pause and two after the seek (the playhead runs from the
    // keyframe at 4 s).
    EXPECT_NEAR(std::stoll(final["totalPlayingTime"].get<std::string>()), 3000, 400);
}

TEST_F(GStreamerPlayback, ASegmentMissingDuringPlaybackFailsToPlayToTheEndWithTheItemsError) {
    // Each of the demuxer's attempts at the third segment answers 404 after half a second, so
    // that it gives up once playback is under way. (A missing last segment merely ends the
    // stream early, hence 8 s of media.)
    QMTestMediaServer longer(8);
    for (const char* variant : {"v0", "v1", "v2"}) {
        longer.remove(std::string(variant) + "/seg2.ts");
        longer.delay(std::string(variant) + "/seg2.ts", 500);
    }
    std::vector<std::shared_ptr<QMError>> failures;
    QMNotificationCenter::defaultCenter()->addObserver(
        this, AVPlayerItemFailedToPlayToEndTimeNotification, nullptr,
        [&](const QMNotification& notification) {
            auto error = notification.userInfo().find(AVPlayerItemFailedToPlayToEndTimeErrorKey);
            failures.push_back(error == notification.userInfo().end()
                                   ? nullptr
                                   : std::any_cast<std::shared_ptr<QMError>>(error->second));
        });
    play(longer.url("master.m3u8"));
    ASSERT_FALSE(sessionId.empty());

    const auto& item = player->currentItem();
    EXPECT_EQ(item->status(), AVPlayerItemStatusFailed);
    ASSERT_EQ(failures.size(), 1u);
    EXPECT_EQ(failures.front(), item->error());
    EXPECT_EQ(player->rate(), 0.0f);
    EXPECT_EQ(item->errorLog()->events().back()->errorStatusCode(), 404);
    const std::string kinds = types();
    EXPECT_TRUE(kinds.starts_with("SPDJ") || kinds.starts_with("SPJD")) << kinds;
    EXPECT_EQ(kinds.back(), 'E') << kinds;
}

TEST_F(GStreamerPlayback, AnMPMoviePlayerPlaysTheLadderToItsFinishAndTheCollectorSeesAnEndedSession) {
    playMPMoviePlayer("master.m3u8");
    ASSERT_FALSE(sessionId.empty());

    // The model as the movie player left it: played through on a variant of the ladder.
    EXPECT_EQ(finishReasons, std::vector<long>{MPMovieFinishReasonPlaybackEnded});
    EXPECT_EQ(mpMoviePlayer->playbackState(), MPMoviePlaybackStateStopped);
    EXPECT_EQ(mpMoviePlayer->movieSourceType(), MPMovieSourceTypeStreaming);
    EXPECT_EQ(mpMoviePlayer->movieMediaTypes(), MPMovieMediaTypeMaskVideo | MPMovieMediaTypeMaskAudio);
    EXPECT_DOUBLE_EQ(mpMoviePlayer->duration(), 6.0);
    EXPECT_DOUBLE_EQ(mpMoviePlayer->currentPlaybackTime(), 6.0);
    EXPECT_TRUE(mpMoviePlayer->readyForDisplay());
    ASSERT_TRUE(mpMoviePlayer->accessLog());
    const auto& last = mpMoviePlayer->accessLog()->events().back();
    ASSERT_EQ(kLadder.count(static_cast<int64_t>(last->indicatedBitrate())), 1u) << last->indicatedBitrate();
    const auto size = kLadder.at(static_cast<int64_t>(last->indicatedBitrate()));
    EXPECT_EQ(mpMoviePlayer->naturalSize().width, size.first);
    EXPECT_EQ(mpMoviePlayer->naturalSize().height, size.second);
    EXPECT_TRUE(last->URI()->starts_with(media.url("v"))) << *last->URI();
    EXPECT_EQ(last->numberOfStalls(), 0);
    int64_t loggedBytes = 0;
    for (const auto& event : mpMoviePlayer->accessLog()->events())
        loggedBytes += event->numberOfBytesTransferred();
    // Fragments count as they reach the parser: one the demuxer drops on a switch is not counted.
    EXPECT_GT(loggedBytes, 0);
    EXPECT_LE(loggedBytes, servedSegmentBytes());
    EXPECT_FALSE(mpMoviePlayer->errorLog());

    // The start, the join, the duration, a periodical report a second and no more after the
    // finish: a movie player's session ends without a completion report.
    const auto sent = reports();
    const std::string kinds = types();
    EXPECT_TRUE(kinds.starts_with("SP")) << kinds;
    EXPECT_EQ(std::count(kinds.begin(), kinds.end(), 'J'), 1) << kinds;
    EXPECT_EQ(std::count(kinds.begin(), kinds.end(), 'D'), 1) << kinds;
    EXPECT_EQ(std::count(kinds.begin(), kinds.end(), 'E'), 0) << kinds;
    EXPECT_GE(std::count(kinds.begin(), kinds.end(), 'P'), 5) << kinds;
    const auto& final = sent.back().first;
    EXPECT_EQ(final["type"], "P");
    EXPECT_TRUE(final["playing"].is_boolean());
    EXPECT_FALSE(final.contains("playbackCompleted"));
    EXPECT_EQ(final["assetDuration"], "6");
    EXPECT_EQ(kLadder.count(final["currentBitRate"].get<int64_t>()), 1u) << final.dump();

    auto analysis = collector->analyzeSession(sessionId, /*assumeFinished=*/true);
    ASSERT_TRUE(analysis);
    const Json json = analysis->toJSON();
    EXPECT_EQ(json["summary"]["plugin"], "iOS-MPMoviePlayerController");
    EXPECT_EQ(json["summary"]["state"], "ended");
    EXPECT_EQ(json["summary"]["errors"], 0);
    for (const auto& check : json["checks"]) EXPECT_NE(check["status"], "failed") << check.dump();
}

TEST_F(GStreamerPlayback, AnMPMoviePlayerPlaysTheLadderToItsFinishTwentyTimesInOneProcess) {
    // Each playback in the same process as the ones before it: nothing one leaves behind may
    // shorten the next.
    for (int run = 0; run < 20; ++run) {
        SCOPED_TRACE("playback " + std::to_string(run + 1));
        finishReasons.clear();
        playMPMoviePlayer("master.m3u8");
        ASSERT_FALSE(sessionId.empty());

        EXPECT_EQ(finishReasons, std::vector<long>{MPMovieFinishReasonPlaybackEnded});
        EXPECT_FALSE(mpMoviePlayerDriver->failure());
        EXPECT_FALSE(mpMoviePlayer->errorLog());
        EXPECT_DOUBLE_EQ(mpMoviePlayer->duration(), 6.0);
        EXPECT_DOUBLE_EQ(mpMoviePlayer->currentPlaybackTime(), 6.0);
        // The access log's watched time adds up to the whole ladder.
        double watched = 0.0;
        ASSERT_TRUE(mpMoviePlayer->accessLog());
        for (const auto& event : mpMoviePlayer->accessLog()->events()) watched += event->durationWatched();
        EXPECT_NEAR(watched, 6.0, 0.5);

        // On the wire: one join, one duration, no error, and reports for the ladder's length.
        const QMCollectedReports sent(*collector, sessionId);
        const std::string kinds = sent.types();
        EXPECT_EQ(std::count(kinds.begin(), kinds.end(), 'J'), 1) << kinds;
        EXPECT_EQ(std::count(kinds.begin(), kinds.end(), 'D'), 1) << kinds;
        EXPECT_EQ(std::count(kinds.begin(), kinds.end(), 'E'), 0) << kinds;
        const auto& final = sent.last();
        EXPECT_EQ(final["assetDuration"], "6");
        EXPECT_NEAR(std::stoll(final["totalElapsedTime"].get<std::string>()), 6000, 2000) << final.dump();

        mpMoviePlayerDriver.reset();
        if (auto plugin = mpMoviePlayerPlugin()) plugin->dispose();
        // The next player may take this one's address: its finish must reach one observer.
        QMNotificationCenter::defaultCenter()->removeObserver(this);
    }
}

TEST_F(GStreamerPlayback, AnMPMoviePlayerMissingASegmentFinishesWithAPlaybackErrorReportLast) {
    // The second segment answers 404 after a second, once the session is established.
    for (const char* variant : {"v0", "v1", "v2"}) {
        media.remove(std::string(variant) + "/seg1.ts");
        media.delay(std::string(variant) + "/seg1.ts", 1'000);
    }
    playMPMoviePlayer("master.m3u8");
    ASSERT_FALSE(sessionId.empty());

    EXPECT_EQ(finishReasons, std::vector<long>{MPMovieFinishReasonPlaybackError});
    EXPECT_EQ(mpMoviePlayer->playbackState(), MPMoviePlaybackStateStopped);
    ASSERT_TRUE(mpMoviePlayer->errorLog());
    const auto& logged = mpMoviePlayer->errorLog()->events().back();
    EXPECT_EQ(logged->errorStatusCode(), 404);
    EXPECT_EQ(logged->errorDomain(), "CoreMediaErrorDomain");

    const std::string kinds = types();
    EXPECT_TRUE(kinds.starts_with("SP")) << kinds;
    EXPECT_EQ(kinds.back(), 'E') << kinds;
    EXPECT_EQ(std::count(kinds.begin(), kinds.end(), 'E'), 1) << kinds;
    auto analysis = collector->analyzeSession(sessionId, /*assumeFinished=*/true);
    ASSERT_TRUE(analysis);
    EXPECT_EQ(analysis->toJSON()["summary"]["errors"], 1);
}

TEST_F(GStreamerPlayback, TheDiagnosticStreamCarriesTheLaddersBitratesAndTheBytesTheServerSent) {
    play("master.m3u8");
    ASSERT_FALSE(sessionId.empty());

    // The fragments the server sent, one media request each, are shared out among the access-log
    // events without loss (the playlists, fetched inside the demuxer, are not counted).
    const int64_t servedBytes = servedSegmentBytes();
    long servedFragments = 0;
    std::set<std::string> servedVariants;
    for (const auto& path : media.requestedPaths()) {
        if (path.ends_with(".ts")) {
            ++servedFragments;
        } else if (path.ends_with("/index.m3u8")) {
            servedVariants.insert(media.url(path.substr(1)));
        }
    }
    EXPECT_GE(servedFragments, 3);
    int64_t loggedBytes = 0;
    long loggedRequests = 0;
    std::set<std::string> loggedURIs;
    for (const auto& event : player->currentItem()->accessLog()->events()) {
        loggedBytes += event->numberOfBytesTransferred();
        loggedRequests += event->numberOfMediaRequests();
        loggedURIs.insert(event->URI().value_or(""));
    }
    EXPECT_EQ(loggedBytes, servedBytes);
    EXPECT_EQ(loggedRequests, servedFragments);

    // The stream: the master playlist's BANDWIDTH and AVERAGE-BANDWIDTH values in playlist order,
    // and the bytes of each new access-log event; the first counts what loading fetched.
    Json bitrates;
    std::vector<int64_t> bytes;
    for (const auto& event : QMCollectedReports::sessionEvents(*collector, sessionId)) {
        if (event["name"] == "availableBitrates") bitrates = event["info"]["bitrates"];
        if (event["name"] == "bytesTransfered") bytes.push_back(event["info"]["bytes"].get<int64_t>());
    }
    EXPECT_EQ(bitrates, Json::parse("[200000,160000,400000,320000,800000,640000]"));
    ASSERT_FALSE(bytes.empty());
    EXPECT_GT(bytes.front(), 0);
    EXPECT_LE(bytes.front(), servedBytes);

    // The stream leaves the URIs to the session's trace file: the variants the access log names,
    // each a variant playlist the server sent.
    std::ifstream trace(tracePath);
    std::set<std::string> tracedURIs;
    for (std::string line; std::getline(trace, line);) {
        const auto at = line.find("]: Access log URI: ");
        if (at != std::string::npos) tracedURIs.insert(line.substr(at + 19));
    }
    EXPECT_EQ(tracedURIs, loggedURIs);
    ASSERT_FALSE(tracedURIs.empty());
    EXPECT_TRUE(
        std::includes(servedVariants.begin(), servedVariants.end(), tracedURIs.begin(), tracedURIs.end()))
        << *tracedURIs.begin();
}

}  // namespace veyrakit
