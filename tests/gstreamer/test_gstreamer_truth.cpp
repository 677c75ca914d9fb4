#include <gtest/gtest.h>

#include <algorithm>
#include <any>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "facade/QMMonitoringSessions.h"
#include "gstreamer/QMCollectedReports.h"
#include "gstreamer/QMLoopbackCollector.h"
#include "platform/QMURLSession.h"
#include "support/QMDefaultPortGuard.h"
#include "support/QMFaultServer.h"
#include "support/QMTestEnvironment.h"
#include "support/QMTestMediaServer.h"
#include "veyrakit/VeyraKit.h"
#include "veyrakit/gstreamer/QMGStreamerAVPlayerDriver.h"
#include "veyrakit/gstreamer/QMGStreamerMPMoviePlayerDriver.h"
#include "veyrakit/platform/QMDate.h"
#include "veyrakit/platform/QMError.h"
#include "veyrakit/platform/QMNotificationCenter.h"
#include "veyrakit/platform/QMTimer.h"
#include "veyrakit/platform/avfoundation/AVError.h"
#include "veyrakit/platform/avfoundation/AVPlayerItemNotifications.h"
#include "veyrakit/platform/mediaplayer/MPMoviePlayerNotifications.h"

namespace veyrakit {

// What real playback reports when it goes wrong or switches: media made by ffmpeg at test time,
// served on loopback with faults (throttled, cut short, missing) or not served at all, played by
// the GStreamer backend, monitored and reported to the reference collector.

namespace {

using Json = nlohmann::ordered_json;

// The ladder of scripts/make-test-media: each rung's picture and the bitrate the demuxer announces.
const std::map<int, int64_t> kBitrateOfHeight{{90, 160000}, {180, 320000}, {270, 640000}};

class TruthfulPlayback : public QMVirtualTimeTest, public ::testing::WithParamInterface<bool> {
  protected:
    bool moviePlayer() const { return GetParam(); }

    void SetUp() override {
        QMVirtualTimeTest::SetUp();
        QMRunLoop::setMainRunLoop(realLoop);
        stubs().disable();
        collector = std::make_unique<QMLoopbackCollector>();
        collector->receiveDiagnosticEvents();
    }
    void TearDown() override {
        driver.reset();
        if (auto plugin = QMMonitoringSessions::currentMPMoviePlayerMonitoringSession()) plugin->dispose();
        // The host's stop ends the AVPlayer's diagnostic reporter, which the tear-down left running.
        QMVeyraKit::stopPlayback();
        QMMonitoringSessions::setCurrentAVPlayerMonitoringSession(nullptr);
        QMMonitoringSessions::setCurrentMPMoviePlayerMonitoringSession(nullptr);
        QMNotificationCenter::defaultCenter()->removeObserver(this);
        // What the pipeline posted before it closed is delivered to no one, but still queued.
        realLoop->runUntil([&] { return realLoop->taskCount() == 0; }, 1'000);
        QMVirtualTimeTest::TearDown();
        QMURLSession::sharedSession()->shutdown();
        realLoop.reset();
        collector->stop();
    }

    // Plays `url` with the player kind of the test until the driver is over and the session's
    // last reports have landed; the failure, if any, in `error`.
    void play(const std::string& url, int timeoutMillis = 30'000,
              const std::function<void()>& whilePlaying = {}) {
        const auto asset = QMURL::URLWithString(url);
        if (moviePlayer()) {
            movie = std::make_shared<MPMoviePlayerController>(asset);
            QMNotificationCenter::defaultCenter()->addObserver(
                this, MPMoviePlayerPlaybackDidFinishNotification, movie.get(),
                [this](const QMNotification& n) {
                    const auto found = n.userInfo().find("error");
                    if (found != n.userInfo().end())
                        error = std::any_cast<std::shared_ptr<QMError>>(found->second);
                });
            QMVeyraKit::pluginWithMPMoviePlayerController(movie, "A-1", collector->baseURL(), "C-1", "VOD",
                                                          "N", "V-1", std::nullopt, std::nullopt);
            auto movieDriver = QMGStreamerMPMoviePlayerDriver::driverWithPlayer(movie);
            driver = movieDriver;
            movie->play();
        } else {
            player = AVPlayer::playerWithURL(asset);
            QMVeyraKit::pluginWithAVPlayer(player, "A-1", collector->baseURL(), "C-1", "VOD", "N", "V-1",
                                           std::nullopt, std::nullopt);
            driver = QMGStreamerAVPlayerDriver::driverWithPlayer(player);
            player->play();
        }
        ASSERT_TRUE(realLoop->runUntil(
            [&] {
                if (whilePlaying) whilePlaying();
                return driver->isOver() && sessionOver();
            },
            timeoutMillis));
        realLoop->runUntil(
            [&] { return realLoop->transferCount() == 0 && realLoop->outsideWorkCount() == 0; }, 3'000);
        if (!moviePlayer()) error = player->currentItem()->error();
    }
    bool sessionOver() const {
        auto plugin = moviePlayer() ? QMMonitoringSessions::currentMPMoviePlayerMonitoringSession()
                                    : QMMonitoringSessions::currentAVPlayerMonitoringSession();
        return !plugin || plugin->destroyed();
    }
    std::string sessionId() const { return collector->store().sessions().front().sessionId; }
    // The error-log entries, whichever the player.
    std::vector<std::pair<long, std::string>> errorLog() const {
        std::vector<std::pair<long, std::string>> entries;
        if (moviePlayer()) {
            if (movie->errorLog())
                for (const auto& e : movie->errorLog()->events())
                    entries.emplace_back(e->errorStatusCode(), e->errorDomain().value_or(""));
        } else if (player->currentItem()->errorLog()) {
            for (const auto& e : player->currentItem()->errorLog()->events())
                entries.emplace_back(e->errorStatusCode(), e->errorDomain().value_or(""));
        }
        return entries;
    }
    std::vector<std::shared_ptr<QMMediaAccessLogEvent>> accessLog() const {
        std::vector<std::shared_ptr<QMMediaAccessLogEvent>> events;
        if (moviePlayer()) {
            if (movie->accessLog())
                for (const auto& e : movie->accessLog()->events()) events.push_back(e);
        } else if (player->currentItem()->accessLog()) {
            for (const auto& e : player->currentItem()->accessLog()->events()) events.push_back(e);
        }
        return events;
    }

    // The master playlist as some packagers write it: the best rendition first.
    static void topRenditionFirst(const QMTestMediaServer& media) {
        const std::string master = media.directory() + "/master.m3u8";
        std::ifstream in(master);
        std::vector<std::string> lines;
        for (std::string line; std::getline(in, line);) lines.push_back(line);
        std::ofstream out(master);
        out << lines[0] << "\n" << lines[1] << "\n" << lines[6] << "\n" << lines[7] << "\n";
        for (int i = 2; i < 6; ++i) out << lines[i] << "\n";
    }

    std::shared_ptr<QMRunLoop> realLoop = QMDefaultPortGuard::guardedLoop();
    std::unique_ptr<QMLoopbackCollector> collector;
    std::shared_ptr<AVPlayer> player;
    std::shared_ptr<MPMoviePlayerController> movie;
    std::shared_ptr<QMGStreamerDriver> driver;
    std::shared_ptr<QMError> error;
};

TEST_P(TruthfulPlayback, TheTopRenditionListedFirstIsTheBitrateFromTheFirstReport) {
    QMTestMediaServer media;
    topRenditionFirst(media);
    play(media.url("master.m3u8"));

    ASSERT_FALSE(accessLog().empty());
    EXPECT_EQ(accessLog().front()->indicatedBitrate(), 640000);
    const QMCollectedReports reports(*collector, sessionId());
    bool joined = false;
    for (const auto& [report, at] : reports.all()) {
        if (report["type"] == "J") joined = true;
        if (joined && report["type"] == "P") {
            EXPECT_EQ(report["currentBitRate"], 640000) << report.dump();
            break;
        }
    }
    EXPECT_TRUE(joined);
    EXPECT_FALSE(error);
}

TEST_P(TruthfulPlayback, EveryEntryCountsTheBytesTheServerSentForItsVariant) {
    QMTestMediaServer media;
    play(media.url("master.m3u8"));

    std::map<std::string, int64_t> served;  // by variant playlist URI
    int64_t servedAll = 0;
    for (const auto& path : media.requestedPaths()) {
        if (!path.ends_with(".ts")) continue;
        const auto bytes = static_cast<int64_t>(std::filesystem::file_size(media.directory() + path));
        served[media.url(path.substr(1, path.rfind('/'))) + "index.m3u8"] += bytes;
        servedAll += bytes;
    }
    std::map<std::string, int64_t> logged;
    int64_t loggedAll = 0;
    for (const auto& event : accessLog()) {
        logged[event->URI().value_or("")] += event->numberOfBytesTransferred();
        loggedAll += event->numberOfBytesTransferred();
        // A fragment that arrives in one piece gives the clock nothing to measure: unknown.
        if (event->observedBitrate() != -1.0) {
            EXPECT_GT(event->observedBitrate(), 0.0);
        }
    }
    EXPECT_EQ(loggedAll, servedAll);
    for (const auto& [uri, bytes] : logged) {
        ASSERT_TRUE(served.count(uri)) << uri;
        EXPECT_NEAR(static_cast<double>(bytes), static_cast<double>(served.at(uri)), 0.02 * served.at(uri))
            << uri;
    }
}

TEST_P(TruthfulPlayback, ASlowLinkSwitchesDownThenUpEachSwitchAtItsPictureChange) {
    QMTestMediaServer media(24);
    topRenditionFirst(media);
    // The picture size shown, each time it changes, on the wall clock.
    std::vector<std::pair<int64_t, double>> pictures;
    const int64_t began = static_cast<int64_t>(QMDate::date()->timeIntervalSince1970() * 1000);
    play(media.url("master.m3u8"), 60'000, [&] {
        const int64_t now = static_cast<int64_t>(QMDate::date()->timeIntervalSince1970() * 1000);
        const double height = moviePlayer()
                                  ? movie->naturalSize().height
                                  : (player ? player->currentItem()->presentationSize().height : 0.0);
        if (height > 0 && (pictures.empty() || pictures.back().second != height))
            pictures.emplace_back(now, height);
        // The top rendition first on a link slower than it, then full speed after ten seconds.
        media.throttle(now - began < 10'000 ? 30'000 : 0);
    });

    EXPECT_FALSE(error);
    const auto log = accessLog();
    ASSERT_GE(log.size(), 3u);
    std::vector<double> bitrates;
    for (const auto& event : log) {
        bitrates.push_back(event->indicatedBitrate());
        EXPECT_TRUE(bitrates.back() == 160000 || bitrates.back() == 320000 || bitrates.back() == 640000)
            << bitrates.back();
    }
    const auto top = std::max_element(bitrates.begin(), bitrates.end());
    const auto bottom = std::min_element(top, bitrates.end());
    EXPECT_LT(*bottom, *top) << testing::PrintToString(bitrates);
    EXPECT_GT(*std::max_element(bottom, bitrates.end()), *bottom) << testing::PrintToString(bitrates);
    // Every switch (a new entry) is stamped within a segment (2 s) of a picture change.
    for (std::size_t i = 1; i < log.size(); ++i) {
        const int64_t switched =
            static_cast<int64_t>(log[i]->playbackStartDate()->timeIntervalSince1970() * 1000);
        int64_t nearest = INT64_MAX;
        for (const auto& [at, height] : pictures)
            nearest = std::min<int64_t>(nearest, std::llabs(at - switched));
        EXPECT_LE(nearest, 2'000) << "entry " << i;
    }
}

TEST_P(TruthfulPlayback, AnMP4CutShortIsAFailureNotAnEnd) {
    QMTestMediaServer media(12);
    const std::string clip = media.directory() + "/clip.mp4";
    std::filesystem::resize_file(clip, std::filesystem::file_size(clip) / 2);
    play(media.url("clip.mp4"));

    ASSERT_TRUE(error);
    EXPECT_EQ(error->domain(), AVFoundationErrorDomain);
    EXPECT_EQ(error->code(), AVErrorDecodeFailed);
    ASSERT_FALSE(errorLog().empty());
    EXPECT_EQ(errorLog().back(), (std::pair<long, std::string>{AVErrorDecodeFailed, "CoreMediaErrorDomain"}));
    const std::string types = QMCollectedReports(*collector, sessionId()).types();
    EXPECT_EQ(types.back(), 'E') << types;
}

TEST_P(TruthfulPlayback, AMissingSegmentPlaysWhatIsBufferedThenFailsWithItsStatus) {
    QMTestMediaServer media(12);
    for (const char* variant : {"v0", "v1", "v2"}) media.remove(std::string(variant) + "/seg4.ts");
    // Paced so that the first picture comes before the missing segment is asked for: GStreamer's
    // adaptive demuxer drops what it holds when a download fails before then.
    media.throttle(100'000);
    play(media.url("master.m3u8"));

    ASSERT_TRUE(error);
    EXPECT_EQ(error->domain(), AVFoundationErrorDomain);
    EXPECT_EQ(error->code(), AVErrorServerIncorrectlyConfigured);
    ASSERT_FALSE(errorLog().empty());
    EXPECT_EQ(errorLog().front(), (std::pair<long, std::string>{404, "CoreMediaErrorDomain"}));
    // The eight seconds fetched before the missing one were played first.
    ASSERT_FALSE(accessLog().empty());
    double watched = 0.0;
    for (const auto& event : accessLog()) watched += event->durationWatched();
    EXPECT_GT(watched, 6.0);
    const std::string types = QMCollectedReports(*collector, sessionId()).types();
    EXPECT_EQ(types.back(), 'E') << types;
    EXPECT_NE(types.find('J'), std::string::npos) << types;
}

TEST_P(TruthfulPlayback, ARefusedConnectionAndAnUnknownHostAreTwoDifferentFailures) {
    play("http://127.0.0.1:" + std::to_string(QMFaultServer::closedPort()) + "/master.m3u8");
    ASSERT_TRUE(error);
    EXPECT_EQ(error->domain(), NSURLErrorDomain);
    EXPECT_EQ(error->code(), NSURLErrorCannotConnectToHost);
    ASSERT_FALSE(errorLog().empty());
    EXPECT_EQ(errorLog().back(),
              (std::pair<long, std::string>{NSURLErrorCannotConnectToHost, NSURLErrorDomain}));

    driver.reset();
    error.reset();
    // The host's stop ends the first playback's diagnostic reporter before a newer plugin puts
    // it out of reach.
    QMVeyraKit::stopPlayback();
    play("http://media.example.invalid/master.m3u8");
    ASSERT_TRUE(error);
    EXPECT_EQ(error->domain(), NSURLErrorDomain);
    EXPECT_EQ(error->code(), NSURLErrorCannotFindHost);
}

std::string kindName(const ::testing::TestParamInfo<bool>& kind) {
    return kind.param ? "MPMoviePlayer" : "AVPlayer";
}

INSTANTIATE_TEST_SUITE_P(BothKinds, TruthfulPlayback, ::testing::Values(false, true), kindName);

}  // namespace

}  // namespace veyrakit
