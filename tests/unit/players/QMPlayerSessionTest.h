#pragma once
#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "simulator/QMFacadeSimulatorHost.h"
#include "simulator/QMPlayerSimulator.h"
#include "simulator/QMScenarioParser.h"
#include "unit/core/QMCoreTestSupport.h"
#include "veyrakit/QMCustomMetadata.h"
#include "veyrakit/platform/QMNotificationCenter.h"

namespace veyrakit {

// Sessions of one player kind monitored through the facade: a simulated player whose host steps
// reach the facade, a server stub answering the session request after `initDelay` and every
// report with {}. `Kind` says how the kind is monitored:
//   Plugin, Player                     the kind's plugin and player classes
//   monitor(player, url, asset, viewer) the facade's call with serverHost `url`
//   endMonitoring()                    what a host does to end monitoring
//   currentSession()                   the facade's slot for the kind
//   playerOf(simulator)                the simulator's player of the kind
//   kDiagnosticsPath, kDiagnosticsAnswer where the kind's diagnostic stream posts, and the answer
//   keepsLogLine(line)                 false for the diagnostic stream's console lines
template <typename Kind>
class QMPlayerSessionTest : public QMCoreTest {
  protected:
    using Strings = std::vector<std::string>;
    using PlayerKind = Kind;
    using Plugin = typename Kind::Plugin;
    using Player = typename Kind::Player;

    void TearDown() override {
        if (simulator) {
            simulator->stop();
        }
        Kind::endMonitoring();
        QMCoreTest::TearDown();
    }

    void answerSession(int64_t initDelay) {
        QMStubResponse session = QMStubResponse::json(R"({"sessionId":"S-1","intervalSeconds":10000})");
        session.delayMillis = initDelay;
        stubs().addStub(QMURLStubRegistry::urlEndsWith("/player/init"), session, 1);
        answer("/player/report", "{}", 200, -1);
        answer(Kind::kDiagnosticsPath, Kind::kDiagnosticsAnswer, 200, -1);
    }
    void monitor(const std::shared_ptr<Player>& player,
                 const std::optional<QMCustomMetadataArray>& assetMetadata = std::nullopt,
                 const std::optional<QMCustomMetadataArray>& viewerMetadata = std::nullopt) {
        Kind::monitor(player, "https://collector.test", assetMetadata, viewerMetadata);
    }
    // Parses the scenario, lets the facade monitor its player, and starts it.
    void simulate(const std::string& scenario,
                  const std::optional<QMCustomMetadataArray>& assetMetadata = std::nullopt,
                  const std::optional<QMCustomMetadataArray>& viewerMetadata = std::nullopt) {
        simulator = QMPlayerSimulator::simulatorWithScenario(QMScenarioParser::parse(scenario),
                                                             std::make_shared<QMFacadeSimulatorHost>());
        monitor(Kind::playerOf(*simulator), assetMetadata, viewerMetadata);
        simulator->start();
    }
    // "<ms after start> <path> <body>" of every request to the analytics server so far (the
    // diagnostic stream's requests are left out).
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
    static std::shared_ptr<Plugin> plugin() {
        return std::dynamic_pointer_cast<Plugin>(Kind::currentSession());
    }
    template <typename Metric>
    static std::shared_ptr<Metric> metric(int key) {
        auto manager = plugin() ? plugin()->metricManager() : nullptr;
        return std::dynamic_pointer_cast<Metric>(manager ? manager->metricForKey(key) : nullptr);
    }
    // The logged lines without the diagnostic stream's console lines.
    Strings logs() const {
        Strings out;
        for (auto& line : QMCoreTest::logs()) {
            if (Kind::keepsLogLine(line)) {
                out.push_back(std::move(line));
            }
        }
        return out;
    }
    long count(const std::string& line) const {
        const auto lines = logs();
        return std::count(lines.begin(), lines.end(), line);
    }

    std::shared_ptr<QMPlayerSimulator> simulator;
};

}  // namespace veyrakit
