#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "facade/QMMonitoringSessions.h"
#include "gstreamer/QMCollectedReports.h"
#include "gstreamer/QMLoopbackCollector.h"
#include "gstreamer/QMTestPlayerApp.h"
#include "platform/QMURLSession.h"
#include "support/QMDefaultPortGuard.h"
#include "support/QMTestEnvironment.h"
#include "support/QMTestMediaServer.h"
#include "veyrakit/QMVeyraKit.h"
#include "veyrakit/gstreamer/QMGLibRunLoopSource.h"
#include "veyrakit/gstreamer/QMGStreamerMonitor.h"

namespace veyrakit {

// The app's own pipeline, bus handling and GLib main loop, with VeyraKit attached to the pipeline
// and its run loop served by the app's main context: nothing here runs the SDK's loop itself.

namespace {

using Json = nlohmann::ordered_json;
using BusStyle = QMTestPlayerApp::BusStyle;
using PlayerKind = QMGStreamerMonitor::PlayerKind;

// The ladder of scripts/make-test-media as the HLS demuxer announces it (AVERAGE-BANDWIDTH).
const std::set<int64_t> kLadder{160000, 320000, 640000};

class AttachedMonitoring : public QMVirtualTimeTest {
  protected:
    void SetUp() override {
        QMVirtualTimeTest::SetUp();
        QMRunLoop::setMainRunLoop(realLoop);
        stubs().disable();
        collector = std::make_unique<QMLoopbackCollector>();
        collector->receiveDiagnosticEvents();
        source = QMGLibRunLoopSource::attach();
    }
    void TearDown() override {
        monitor.reset();
        app.reset();
        settle();
        if (auto plugin = QMMonitoringSessions::currentMPMoviePlayerMonitoringSession()) plugin->dispose();
        // The host's stop ends the AVPlayer's diagnostic reporter, which the tear-down left running.
        QMVeyraKit::stopPlayback();
        QMMonitoringSessions::setCurrentAVPlayerMonitoringSession(nullptr);
        QMMonitoringSessions::setCurrentMPMoviePlayerMonitoringSession(nullptr);
        QMVirtualTimeTest::TearDown();
        QMURLSession::sharedSession()->shutdown();
        source.reset();
        realLoop.reset();
        collector->stop();
    }

    QMGStreamerMonitor::Options options(PlayerKind kind) const {
        QMGStreamerMonitor::Options options;
        options.player = kind;
        options.defaults = {.serverHost = collector->baseURL(), .qmrCID = "C-1", .viewerId = "V-1"};
        return options;
    }
    void makeApp(const std::string& element, BusStyle style) {
        app = std::make_unique<QMTestPlayerApp>(element, style);
        app->setURI(media.url("master.m3u8"));
    }
    // Iterates the app's loop until every request the SDK had under way has its answer.
    bool settle(int timeoutMillis = 5'000) {
        auto idle = [&] { return realLoop->transferCount() == 0 && realLoop->outsideWorkCount() == 0; };
        if (!app) {
            QMTestPlayerApp waiter("playbin3", BusStyle::Watch);
            return waiter.runUntil(idle, timeoutMillis);
        }
        return app->runUntil(idle, timeoutMillis);
    }
    // Plays until the app has ended the playback and the session's last reports have landed.
    bool playToEnd() {
        const bool ended = app->runUntil([&] { return app->ended() && !monitor->isMonitoring(); }, 20'000);
        return settle() && ended;
    }
    std::vector<std::string> sessions() const {
        std::vector<std::string> ids;
        for (const auto& session : collector->store().sessions()) ids.push_back(session.sessionId);
        return ids;
    }

    QMTestMediaServer media;
    std::shared_ptr<QMRunLoop> realLoop = QMDefaultPortGuard::guardedLoop();
    std::unique_ptr<QMLoopbackCollector> collector;
    std::unique_ptr<QMGLibRunLoopSource> source;
    std::unique_ptr<QMTestPlayerApp> app;
    std::shared_ptr<QMGStreamerMonitor> monitor;
};

TEST_F(AttachedMonitoring, AnAppsPlaybin3IsMonitoredThroughItsPauseAndSeekToTheEnd) {
    makeApp("playbin3", BusStyle::Watch);
    monitor = QMGStreamerMonitor::attach(app->playbin(), options(PlayerKind::AVPlayer));
    app->play();
    app->after(2'000, [&] { app->pause(); });
    app->after(3'500, [&] { app->play(); });
    app->after(4'500, [&] { app->seek(4.0); });
    ASSERT_TRUE(playToEnd());
    ASSERT_TRUE(app->endedByStream());

    ASSERT_EQ(sessions().size(), 1u);
    const QMCollectedReports reports(*collector, sessions().front());
    const std::string types = reports.types();
    EXPECT_EQ(types.front(), 'S') << types;
    EXPECT_EQ(std::count(types.begin(), types.end(), 'J'), 1) << types;
    EXPECT_EQ(std::count(types.begin(), types.end(), 'D'), 1) << types;
    EXPECT_EQ(std::count(types.begin(), types.end(), 'E'), 0) << types;
    EXPECT_GE(std::count(types.begin(), types.end(), 'P'), 6) << types;
    ASSERT_FALSE(reports.bitrates().empty());
    for (int64_t bitrate : reports.bitrates()) EXPECT_EQ(kLadder.count(bitrate), 1u) << bitrate;
    // The app's pause: a report between two playing ones says the player is not playing.
    std::string playing;
    for (const auto& [report, at] : reports.all()) {
        if (report["type"] == "P" && !report.contains("playbackCompleted"))
            playing += report["playing"].dump();
    }
    const auto pausedAt = playing.find("10");
    ASSERT_NE(pausedAt, std::string::npos) << playing;
    EXPECT_NE(playing.find("01", pausedAt), std::string::npos) << playing;
    const Json& final = reports.last();
    EXPECT_EQ(final["playbackCompleted"], true);
    EXPECT_EQ(final["assetDuration"], "6");
    // About 3.5 s played before the seek skipped ahead to 4 s, then the last 2 s.
    const int64_t played = std::stoll(final["totalPlayingTime"].get<std::string>());
    EXPECT_GT(played, 4'000);
    EXPECT_LT(played, 5'800);
    // The seek reached the diagnostic stream as the item's time jump.
    EXPECT_TRUE(QMCollectedReports::hasSessionEvent(*collector, sessions().front(), "timeJumped"));
    EXPECT_EQ(app->receivedOf(GST_MESSAGE_EOS), 1);
}

TEST_F(AttachedMonitoring, TheMoviePlayerKindModelsTheAppsPipeline) {
    makeApp("playbin3", BusStyle::SignalWatch);
    monitor = QMGStreamerMonitor::attach(app->playbin(), options(PlayerKind::MPMoviePlayerController));
    app->play();
    ASSERT_TRUE(playToEnd());

    ASSERT_EQ(sessions().size(), 1u);
    const QMCollectedReports reports(*collector, sessions().front());
    const std::string types = reports.types();
    EXPECT_EQ(types.front(), 'S') << types;
    EXPECT_EQ(std::count(types.begin(), types.end(), 'J'), 1) << types;
    EXPECT_EQ(std::count(types.begin(), types.end(), 'D'), 1) << types;
    EXPECT_EQ(std::count(types.begin(), types.end(), 'E'), 0) << types;
    EXPECT_GE(std::count(types.begin(), types.end(), 'P'), 5) << types;
    ASSERT_FALSE(reports.bitrates().empty());
    for (int64_t bitrate : reports.bitrates()) EXPECT_EQ(kLadder.count(bitrate), 1u) << bitrate;
    // The movie player's end of playback sends nothing: the last report is a plain periodical one.
    EXPECT_FALSE(reports.last().contains("playbackCompleted"));
}

// An app's pipeline prerolls before it plays, and whether the preroll ends before or after the
// app's play (or before the monitor hears of the pipeline at all) is a race. Whichever way it
// goes, the session has its join and its duration: the model is ready at the app's play.
TEST_F(AttachedMonitoring, APipelinePrerolledBeforeItsPlayOrBeforeTheAttachGivesOneJoinAndOneDuration) {
    const auto reaches = [&](GstState wanted) {
        return app->runUntil(
            [&] {
                GstState state = GST_STATE_VOID_PENDING;
                return gst_element_get_state(app->playbin(), &state, nullptr, 0) ==
                           GST_STATE_CHANGE_SUCCESS &&
                       state == wanted;
            },
            5'000);
    };
    const auto joinedWithDuration = [&] {
        const auto ids = sessions();
        if (ids.empty()) return false;
        const std::string types = QMCollectedReports(*collector, ids.back()).types();
        return types.find('J') != std::string::npos && types.find('D') != std::string::npos;
    };
    for (const PlayerKind kind : {PlayerKind::AVPlayer, PlayerKind::MPMoviePlayerController}) {
        for (const bool attachedFirst : {true, false}) {
            const size_t before = sessions().size();
            makeApp("playbin", BusStyle::Watch);
            app->setURI(media.url("clip.mp4"));
            if (attachedFirst) {
                monitor = QMGStreamerMonitor::attach(app->playbin(), options(kind));
                app->pause();
                ASSERT_TRUE(reaches(GST_STATE_PAUSED));
                app->play();
            } else {
                app->play();
                ASSERT_TRUE(reaches(GST_STATE_PLAYING));
                monitor = QMGStreamerMonitor::attach(app->playbin(), options(kind));
            }
            EXPECT_TRUE(
                app->runUntil([&] { return sessions().size() > before && joinedWithDuration(); }, 5'000))
                << (kind == PlayerKind::AVPlayer ? "AVPlayer" : "movie player")
                << (attachedFirst ? ", attached before the preroll" : ", attached while playing");
            app->stop();
            ASSERT_TRUE(settle());
            monitor.reset();
            app.reset();
        }
    }
    const auto ids = sessions();
    ASSERT_EQ(ids.size(), 4u);
    for (const auto& id : ids) {
        const std::string types = QMCollectedReports(*collector, id).types();
        EXPECT_EQ(std::count(types.begin(), types.end(), 'J'), 1) << types;
        EXPECT_EQ(std::count(types.begin(), types.end(), 'D'), 1) << types;
    }
}

TEST_F(AttachedMonitoring, ASegmentMissingMidWayIsAPlaybackErrorReportAndTheSessionEnds) {
    for (const char* variant : {"v0", "v1", "v2"}) media.remove(std::string(variant) + "/seg1.ts");
    makeApp("playbin3", BusStyle::Watch);
    monitor = QMGStreamerMonitor::attach(app->playbin(), options(PlayerKind::AVPlayer));
    app->play();
    ASSERT_TRUE(playToEnd());
    ASSERT_TRUE(app->failed());

    ASSERT_EQ(sessions().size(), 1u);
    const std::string types = QMCollectedReports(*collector, sessions().front()).types();
    EXPECT_EQ(types.front(), 'S') << types;
    EXPECT_EQ(types.back(), 'E') << types;
    EXPECT_EQ(std::count(types.begin(), types.end(), 'E'), 1) << types;
}

TEST_F(AttachedMonitoring, ANewURIMidWayGivesTwoSessionsEachWithItsFinalReport) {
    makeApp("playbin3", BusStyle::Watch);
    monitor = QMGStreamerMonitor::attach(app->playbin(), options(PlayerKind::AVPlayer));
    app->play();
    app->after(2'500, [&] {
        app->stop();
        app->setURI(media.url("clip.mp4"));
        app->play();
    });
    ASSERT_TRUE(playToEnd());
    EXPECT_EQ(monitor->sessionCount(), 2u);

    const auto ids = sessions();
    ASSERT_EQ(ids.size(), 2u);
    const QMCollectedReports first(*collector, ids[0]);
    const QMCollectedReports second(*collector, ids[1]);
    EXPECT_EQ(first.types().front(), 'S');
    EXPECT_EQ(first.last()["playbackCompleted"], true);
    EXPECT_LT(std::stoll(first.last()["totalPlayingTime"].get<std::string>()), 3'000);
    EXPECT_EQ(second.types().front(), 'S');
    EXPECT_EQ(second.last()["playbackCompleted"], true);
    EXPECT_GT(std::stoll(second.last()["totalPlayingTime"].get<std::string>()), 5'000);
    // Each session names its own item, derived from its URI.
    const auto init = [&](const std::string& id) {
        for (const auto& request : collector->store().requestsOfSession(id))
            if (request.path == "/player/init") return *request.bodyJSON();
        return Json();
    };
    EXPECT_EQ(init(ids[0])["assetName"], "master.m3u8");
    EXPECT_EQ(init(ids[1])["assetId"], media.url("clip.mp4"));
    EXPECT_EQ(init(ids[1])["assetName"], "clip.mp4");
}

TEST_F(AttachedMonitoring, AnAppQuittingAtOnceLeavesNothingBehindAndNothingWaiting) {
    makeApp("playbin3", BusStyle::Watch);
    monitor = QMGStreamerMonitor::attach(app->playbin(), options(PlayerKind::AVPlayer));
    app->play();
    // The session start is still on its way when the app takes its pipeline down and lets it go.
    app->runUntil([&] { return realLoop->transferCount() > 0; }, 5'000);
    app->stop();
    app.reset();
    // The SDK hears of it on its loop, served by the app's context.
    QMTestPlayerApp context("playbin3", BusStyle::Watch);
    EXPECT_TRUE(context.runUntil([&] { return !monitor->isAttached(); }, 2'000));
    EXPECT_FALSE(monitor->isMonitoring());
    // The session, still waiting for its id, ends at once: no report, and the plugin goes.
    EXPECT_TRUE(context.runUntil(
        [&] {
            auto plugin = QMMonitoringSessions::currentAVPlayerMonitoringSession();
            return plugin && plugin->destroyed();
        },
        5'000));
    EXPECT_TRUE(settle());
}

TEST_F(AttachedMonitoring, DetachingEndsTheSessionAndLeavesThePipelinePlaying) {
    makeApp("playbin", BusStyle::Watch);
    monitor = QMGStreamerMonitor::attach(app->playbin(), options(PlayerKind::AVPlayer));
    app->play();
    app->runUntil(
        [&] {
            return !sessions().empty() && QMCollectedReports(*collector, sessions()[0]).types().size() >= 4;
        },
        10'000);
    monitor->detach();
    EXPECT_TRUE(settle());
    // The pipeline plays on (the app may pause it to refill meanwhile on a slow machine).
    EXPECT_TRUE(app->runUntil(
        [&] {
            GstState state = GST_STATE_VOID_PENDING;
            gst_element_get_state(app->playbin(), &state, nullptr, 0);
            return state == GST_STATE_PLAYING;
        },
        5'000));
    ASSERT_EQ(sessions().size(), 1u);
    EXPECT_EQ(QMCollectedReports(*collector, sessions()[0]).last()["playbackCompleted"], true);
    ASSERT_TRUE(app->runUntil([&] { return app->ended(); }, 15'000));
    EXPECT_TRUE(app->endedByStream());
}

// Whichever way the app reads its bus, and on either playbin, it gets every message it got
// without VeyraKit, and the session is complete.
class AttachedBusStyles : public AttachedMonitoring,
                          public ::testing::WithParamInterface<std::tuple<BusStyle, const char*>> {};

TEST_P(AttachedBusStyles, TheAppReceivesWhatItReceivedWithoutVeyraKit) {
    const auto [style, element] = GetParam();
    makeApp(element, style);
    app->play();
    ASSERT_TRUE(app->runUntil([&] { return app->ended(); }, 20'000));
    const auto withoutReceived = app->received();
    const auto without = [&](GstMessageType type) {
        return withoutReceived.count(type) ? withoutReceived.at(type) : 0;
    };
    makeApp(element, style);
    monitor = QMGStreamerMonitor::attach(app->playbin(), options(PlayerKind::AVPlayer));
    app->play();
    ASSERT_TRUE(playToEnd());

    EXPECT_TRUE(app->endedByStream());
    // The messages a playback posts once whatever the timing (how often the app pauses to refill
    // varies from run to run, and so do the state changes, buffering levels and the prerolls a
    // refill under load can bring).
    for (GstMessageType type :
         {GST_MESSAGE_EOS, GST_MESSAGE_ERROR, GST_MESSAGE_STREAM_START, GST_MESSAGE_NEW_CLOCK})
        EXPECT_EQ(app->receivedOf(type), without(type)) << gst_message_type_get_name(type);
    ASSERT_EQ(sessions().size(), 1u);
    const QMCollectedReports reports(*collector, sessions().front());
    EXPECT_EQ(reports.types().front(), 'S');
    EXPECT_EQ(reports.last()["playbackCompleted"], true);
    EXPECT_EQ(reports.last()["assetDuration"], "6");
}

INSTANTIATE_TEST_SUITE_P(EveryWay, AttachedBusStyles,
                         ::testing::Values(std::make_tuple(BusStyle::Watch, "playbin"),
                                           std::make_tuple(BusStyle::SignalWatch, "playbin3"),
                                           std::make_tuple(BusStyle::SyncHandler, "playbin"),
                                           std::make_tuple(BusStyle::Polling, "playbin3")));

}  // namespace

}  // namespace veyrakit
