#pragma once
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/QMObjectRepository.h"
#include "metrics/QMMetric.h"
#include "platform/QMJSON.h"
#include "platform/avfoundation/AVPlayer.h"
#include "players/avplayer/QMAVPlayerVeyraPlugin.h"
#include "support/QMTestEnvironment.h"
#include "veyrakit/VeyraKit.h"

// An AVPlayer plugin around a given player that observes nothing itself, so that only the metric
// under test reacts to the player.
class QMMetricTestAVPlayerPlugin : public QMAVPlayerVeyraPlugin {
public:
    explicit QMMetricTestAVPlayerPlugin(std::shared_ptr<AVPlayer> avPlayer) { player_ = std::move(avPlayer); }
    void registerEventHandlers() override {}
    void deregisterEventHandlers() override {}
    std::shared_ptr<QMEventManager> getEventManagerInstance() override { return nullptr; }
    std::shared_ptr<QMMetricManager> getMetricManagerInstance() override { return nullptr; }
    void setSessionId(std::optional<std::string> sessionId) override { QMVeyraPlugin::setSessionId(std::move(sessionId)); }
};

// A player with one item (buffer empty, not ready, rate 0, as a new item is) and its plugin,
// registered as the current plugin, on virtual time.
class QMAVPlayerMetricTest : public QMVirtualTimeTest {
protected:
    void SetUp() override {
        QMVirtualTimeTest::SetUp();
        savedIntervalLength_ = INTERVAL_LENGTH;
        item = AVPlayerItem::playerItemWithURL(QMURL::URLWithString("https://cdn.example/v/index.m3u8"));
        player = AVPlayer::playerWithPlayerItem(item);
        plugin = std::make_shared<QMMetricTestAVPlayerPlugin>(player);
        QMObjectRepository::getRepositoryInstance()->setPlugin(plugin);
        baseItemObservations = item->observationCount();
        basePlayerObservations = player->observationCount();
        basePluginObservations = plugin->observationCount();
        baseTimers = loop->timerCount();
    }

    void TearDown() override {
        QMObjectRepository::getRepositoryInstance()->setPlugin(nullptr);
        plugin.reset();
        player.reset();
        item.reset();
        INTERVAL_LENGTH = savedIntervalLength_;
        QMVirtualTimeTest::TearDown();
    }

    // Runs the session exchange against a server that gives session id "S-1" after `delayMillis`
    // and answers every report with {}.
    void startSessionExchange(int64_t delayMillis) {
        QMStubResponse session = QMStubResponse::json(R"({"sessionId":"S-1","intervalSeconds":10000})");
        session.delayMillis = delayMillis;
        stubs().addStub(QMURLStubRegistry::urlEndsWith("/player/init"), session, 1);
        stubs().addStub(QMURLStubRegistry::urlEndsWith("/player/report"), QMStubResponse::json("{}"));
        plugin->initWithParams(QMURL::URLWithString("https://cdn.example/v/index.m3u8"), "HLS", "A-1",
                               "https://collector.test", "C-1", std::nullopt, "Name", "V-1", std::nullopt,
                               std::nullopt, std::nullopt);
    }

    std::vector<std::string> reportBodies() const {
        std::vector<std::string> bodies;
        for (const auto& request : QMURLStubRegistry::shared().requestsTo("/player/report")) {
            bodies.push_back(request.body.value_or("<none>"));
        }
        return bodies;
    }

    void makePlayable() {
        item->setStatus(AVPlayerItemStatusReadyToPlay);
        item->setPlaybackBufferEmpty(false);
        item->setPlaybackLikelyToKeepUp(true);
    }

    void makeStalled() {
        item->setPlaybackLikelyToKeepUp(false);
        item->setPlaybackBufferEmpty(true);
    }

    static std::string collect(QMMetric& metric) {
        return QMJSONSerialization::dataWithJSONObject(metric.collectMetric().value());
    }

    // Console lines that begin with `start` (for logger lines: level, blank, prefix, tab).
    std::vector<std::string> linesStartingWith(const std::string& start) const {
        std::vector<std::string> found;
        for (const auto& line : console.lines()) {
            if (line.rfind(start, 0) == 0) {
                found.push_back(line);
            }
        }
        return found;
    }

    std::shared_ptr<AVPlayerItem> item;
    std::shared_ptr<AVPlayer> player;
    std::shared_ptr<QMMetricTestAVPlayerPlugin> plugin;
    std::size_t baseItemObservations = 0;
    std::size_t basePlayerObservations = 0;
    std::size_t basePluginObservations = 0;
    std::size_t baseTimers = 0;

private:
    int32_t savedIntervalLength_ = 10;
};
