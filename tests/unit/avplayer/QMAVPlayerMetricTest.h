#pragma once
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/QMObjectRepository.h"
#include "metrics/QMMetric.h"
#include "players/avplayer/QMAVPlayerVeyraPlugin.h"
#include "support/QMTestEnvironment.h"
#include "veyrakit/VeyraKit.h"
#include "veyrakit/platform/avfoundation/AVPlayer.h"

namespace veyrakit {

// An AVPlayer plugin around a given player that observes nothing itself.
class QMMetricTestAVPlayerPlugin : public QMAVPlayerVeyraPlugin {
  public:
    explicit QMMetricTestAVPlayerPlugin(std::shared_ptr<AVPlayer> avPlayer) { player_ = std::move(avPlayer); }
    void registerEventHandlers() override {}
    std::shared_ptr<QMEventManager> getEventManagerInstance() override { return nullptr; }
    void setSessionId(std::optional<std::string> sessionId) override {
        QMVeyraPlugin::setSessionId(std::move(sessionId));
    }
};

// A player whose item is new (buffer empty, rate 0) and its plugin, current in the repository.
class QMAVPlayerMetricTest : public QMVirtualTimeTest {
  protected:
    void SetUp() override {
        QMVirtualTimeTest::SetUp();
        item = AVPlayerItem::playerItemWithURL(QMURL::URLWithString("https://cdn.example/v/index.m3u8"));
        player = AVPlayer::playerWithPlayerItem(item);
        plugin = std::make_shared<QMMetricTestAVPlayerPlugin>(player);
        QMObjectRepository::getRepositoryInstance()->setPlugin(plugin);
    }
    void TearDown() override {
        QMObjectRepository::getRepositoryInstance()->setPlugin(nullptr);
        INTERVAL_LENGTH = 10;
        QMVirtualTimeTest::TearDown();
    }

    // The server gives session id "S-1" after `delayMillis` and answers every report with {}.
    void startSessionExchange(int64_t delayMillis) {
        QMStubResponse session = QMStubResponse::json(R"({"sessionId":"S-1","intervalSeconds":10000})");
        session.delayMillis = delayMillis;
        stubs().addStub(QMURLStubRegistry::urlEndsWith("/player/init"), session, 1);
        stubs().addStub(QMURLStubRegistry::urlEndsWith("/player/report"), QMStubResponse::json("{}"));
        plugin->initWithParams(QMURL::URLWithString("https://cdn.example/v/index.m3u8"), "HLS", "A-1",
                               "https://collector.test", "C-1", {}, "Name", "V-1", {}, {}, {});
    }
    std::vector<std::string> reportBodies() const {
        std::vector<std::string> bodies;
        for (const auto& request : QMURLStubRegistry::shared().requestsTo("/player/report")) {
            bodies.push_back(request.body.value_or(""));
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
    // The collected values in key order, blank-separated; every value must be a string.
    static std::string values(QMMetric& metric) {
        const QMJSON collected = metric.collectMetric().value();
        std::string joined;
        for (const auto& value : collected) {
            joined += (joined.empty() ? "" : " ") + value.get<std::string>();
        }
        return joined;
    }
    // Console lines beginning with `start` (logger lines: level, blank, prefix, tab).
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
};

}  // namespace veyrakit
