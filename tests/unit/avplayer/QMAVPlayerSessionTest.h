#pragma once
#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "facade/QMMonitoringSessions.h"
#include "players/avplayer/QMAVPlayerVeyraPlugin.h"
#include "simulator/QMFacadeSimulatorHost.h"
#include "simulator/QMPlayerSimulator.h"
#include "simulator/QMScenarioParser.h"
#include "unit/core/QMCoreTestSupport.h"
#include "veyrakit/platform/QMNotificationCenter.h"

namespace veyrakit {

// Sessions monitored through the facade: a simulated AVPlayer whose host steps reach the facade,
// a server stub answering the session request after `initDelay` and every report with {}.
class QMAVPlayerSessionTest : public QMCoreTest {
  protected:
    using Strings = std::vector<std::string>;

    void TearDown() override {
        if (simulator) {
            simulator->stop();
        }
        // What a host does to end monitoring: a session still running is torn down.
        QMVeyraKit::pluginWithAVPlayer(nullptr, "A-1", "C-1", std::nullopt, "Name", std::nullopt,
                                       std::nullopt, std::nullopt);
        QMCoreTest::TearDown();
    }

    void answerSession(int64_t initDelay) {
        QMStubResponse session = QMStubResponse::json(R"({"sessionId":"S-1","intervalSeconds":10000})");
        session.delayMillis = initDelay;
        stubs().addStub(QMURLStubRegistry::urlEndsWith("/player/init"), session, 1);
        answer("/player/report", "{}", 200, -1);
        answer("/sessionEventsHandler/sessions", "{}", 200, -1);
    }
    void monitor(const std::shared_ptr<AVPlayer>& player,
                 const std::optional<QMCustomMetadataArray>& assetMetadata = std::nullopt,
                 const std::optional<QMCustomMetadataArray>& viewerMetadata = std::nullopt) {
        QMVeyraKit::pluginWithAVPlayer(player, "A-1", "https://collector.test", "C-1", std::nullopt, "Name",
                                       "V-1", assetMetadata, viewerMetadata);
    }
    // Parses the scenario, lets the facade monitor its player, and starts it.
    void simulate(const std::string& scenario,
                  const std::optional<QMCustomMetadataArray>& assetMetadata = std::nullopt,
                  const std::optional<QMCustomMetadataArray>& viewerMetadata = std::nullopt) {
        simulator = QMPlayerSimulator::simulatorWithScenario(QMScenarioParser::parse(scenario),
                                                             std::make_shared<QMFacadeSimulatorHost>());
        monitor(simulator->player(), assetMetadata, viewerMetadata);
        simulator->start();
    }
    // "<ms after start> <path> <body>" of every request to the analytics server so far (the
    // diagnostic reporter's playlist fetch and session events are left out).
    Strings requestStream() const {
        Strings out;
        for (const auto& r : QMURLStubRegistry::shared().requests()) {
            if (r.url.find("/player/") == std::string::npos) {
                continue;
            }
            out.push_back(std::to_string(r.timeMillis - startMillis) + " " +
                          r.url.substr(r.url.rfind("/player/")) + " " + r.body.value_or(""));
        }
        return out;
    }
    // Reports posted so far, parsed.
    std::vector<QMJSON> reports() {
        std::vector<QMJSON> out;
        for (const auto& body : bodies("/player/report")) {
            out.push_back(QMJSON::parse(body));
        }
        return out;
    }
    static std::shared_ptr<QMAVPlayerVeyraPlugin> plugin() {
        return std::dynamic_pointer_cast<QMAVPlayerVeyraPlugin>(
            QMMonitoringSessions::currentAVPlayerMonitoringSession());
    }
    template <typename Metric>
    static std::shared_ptr<Metric> metric(int key) {
        auto manager = plugin() ? plugin()->metricManager() : nullptr;
        return std::dynamic_pointer_cast<Metric>(manager ? manager->metricForKey(key) : nullptr);
    }
    // The logged lines without the diagnostic reporter's console lines (its trace file path and
    // the pretty-printed session events it posts).
    Strings logs() const {
        Strings out;
        for (auto& line : QMCoreTest::logs()) {
            if (line.rfind("FileLogger path: ", 0) != 0 && line.rfind("{\n", 0) != 0) {
                out.push_back(std::move(line));
            }
        }
        return out;
    }
    long count(const std::string& line) const {
        const auto lines = logs();
        return std::count(lines.begin(), lines.end(), line);
    }
    // Nothing of the session is left observing or scheduled.
    void expectNothingLeft(const std::shared_ptr<AVPlayer>& player) const {
        EXPECT_EQ(player->observationCount(), 0u);
        EXPECT_EQ(player->currentItem()->observationCount(), 0u);
        EXPECT_EQ(player->timeObserverCount(), 0u);
        EXPECT_EQ(plugin()->observationCount(), 0u);
        EXPECT_EQ(QMNotificationCenter::defaultCenter()->observerCount(), 0u);
        EXPECT_EQ(QMRunLoop::mainRunLoop()->timerCount(), 0u);
    }

    std::shared_ptr<QMPlayerSimulator> simulator;
    // A player model driven by the test itself.
    std::shared_ptr<AVPlayer> player =
        AVPlayer::playerWithURL(QMURL::URLWithString("https://cdn.example/v/index.m3u8"));
};

}  // namespace veyrakit
