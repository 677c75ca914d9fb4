#pragma once
#include <memory>
#include <optional>
#include <string>

#include "facade/QMMonitoringSessions.h"
#include "players/avplayer/QMAVPlayerVeyraPlugin.h"
#include "unit/players/QMPlayerSessionTest.h"

namespace veyrakit {

// How AVPlayer sessions are monitored in the session tests.
struct QMAVPlayerSessionKind {
    using Plugin = QMAVPlayerVeyraPlugin;
    using Player = AVPlayer;
    static constexpr const char* kNoPlayerLine =
        "E T AVPlayer instance is null, the plugin will not initialized";

    static void monitor(const std::shared_ptr<AVPlayer>& player, const std::string& serverHost,
                        const std::optional<QMCustomMetadataArray>& assetMetadata,
                        const std::optional<QMCustomMetadataArray>& viewerMetadata) {
        QMVeyraKit::pluginWithAVPlayer(player, "A-1", serverHost, "C-1", std::nullopt, "Name", "V-1",
                                       assetMetadata, viewerMetadata);
    }
    // The host's stop ends the diagnostic reporter, which no tear-down stops; a session still
    // running is torn down.
    static void endMonitoring() {
        QMVeyraKit::stopPlayback();
        QMVeyraKit::pluginWithAVPlayer(nullptr, "A-1", "C-1", std::nullopt, "Name", std::nullopt,
                                       std::nullopt, std::nullopt);
    }
    static std::shared_ptr<QMVeyraPlugin> currentSession() {
        return QMMonitoringSessions::currentAVPlayerMonitoringSession();
    }
    static std::shared_ptr<AVPlayer> playerOf(QMPlayerSimulator& simulator) { return simulator.player(); }
    static constexpr const char* kDiagnosticsPath = "/sessionEventsHandler/sessions";
    static constexpr const char* kDiagnosticsAnswer = "{}";
    // The diagnostic reporter writes its trace file path and the session events it posts.
    static bool keepsLogLine(const std::string& line) {
        return line.rfind("FileLogger path: ", 0) != 0 && line.rfind("{\n", 0) != 0;
    }
};

class QMAVPlayerSessionTest : public QMPlayerSessionTest<QMAVPlayerSessionKind> {
  protected:
    // A session torn down without the host's stop leaves its diagnostic reporter running: its
    // timer and its observations of the player and the item; the host's stop ends it.
    void stopTheRunningReporter(const std::shared_ptr<AVPlayer>& observed) const {
        EXPECT_TRUE(plugin()->pieReporter()->timer()->isValid());
        EXPECT_EQ(QMRunLoop::mainRunLoop()->timerCount(), 1u);
        EXPECT_EQ(observed->observationCount(), 2u);
        EXPECT_EQ(observed->currentItem()->observationCount(), 6u);
        EXPECT_EQ(QMNotificationCenter::defaultCenter()->observerCount(), 6u);
        QMVeyraKit::stopPlayback();
        EXPECT_FALSE(plugin()->pieReporter()->timer()->isValid());
    }
    // Nothing of the session is left observing or scheduled.
    void expectNothingLeft(const std::shared_ptr<AVPlayer>& observed) const {
        EXPECT_EQ(observed->observationCount(), 0u);
        EXPECT_EQ(observed->currentItem()->observationCount(), 0u);
        EXPECT_EQ(observed->timeObserverCount(), 0u);
        EXPECT_EQ(plugin()->observationCount(), 0u);
        EXPECT_EQ(QMNotificationCenter::defaultCenter()->observerCount(), 0u);
        EXPECT_EQ(QMRunLoop::mainRunLoop()->timerCount(), 0u);
    }

    // A player model driven by the test itself.
    std::shared_ptr<AVPlayer> player =
        AVPlayer::playerWithURL(QMURL::URLWithString("https://cdn.example/v/index.m3u8"));
};

}  // namespace veyrakit
