#pragma once
#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "facade/QMMonitoringSessions.h"
#include "players/mpmovieplayer/QMMPMoviePlayerControllerVeyraPlugin.h"
#include "simulator/QMFacadeSimulatorHost.h"
#include "simulator/QMPlayerSimulator.h"
#include "simulator/QMScenarioParser.h"
#include "unit/core/QMCoreTestSupport.h"
#include "veyrakit/platform/QMNotificationCenter.h"
#include "veyrakit/platform/mediaplayer/MPMoviePlayerController.h"

namespace veyrakit {

// Movie player sessions monitored through the facade: a simulated MPMoviePlayerController, a
// server stub answering the session request after `initDelay` and every report with {}.
class QMMPMoviePlayerSessionTest : public QMCoreTest {
  protected:
    using Strings = std::vector<std::string>;

    void TearDown() override {
        if (simulator) {
            simulator->stop();
        }
        // What a host does to end monitoring: the plugin is destroyed and disposed.
        QMVeyraKit::pluginWithMPMoviePlayerController(nullptr, "A-1", "C-1", std::nullopt, "Name",
                                                      std::nullopt, std::nullopt, std::nullopt);
        QMCoreTest::TearDown();
    }

    void answerSession(int64_t initDelay) {
        QMStubResponse session = QMStubResponse::json(R"({"sessionId":"S-1","intervalSeconds":10000})");
        session.delayMillis = initDelay;
        stubs().addStub(QMURLStubRegistry::urlEndsWith("/player/init"), session, 1);
        answer("/player/report", "{}", 200, -1);
        answer("/veyrakit/", "", 200, -1);  // the diagnostic handler's posts, once a second
    }
    void monitor(const std::shared_ptr<MPMoviePlayerController>& player,
                 const std::optional<QMCustomMetadataArray>& assetMetadata = std::nullopt) {
        QMVeyraKit::pluginWithMPMoviePlayerController(player, "A-1", "https://collector.test", "C-1",
                                                      std::nullopt, "Name", "V-1", assetMetadata,
                                                      std::nullopt);
    }
    // Parses the scenario, lets the facade monitor its movie player, and starts it.
    void simulate(const std::string& scenario,
                  const std::optional<QMCustomMetadataArray>& assetMetadata = std::nullopt) {
        simulator = QMPlayerSimulator::simulatorWithScenario(QMScenarioParser::parse(scenario),
                                                             std::make_shared<QMFacadeSimulatorHost>());
        monitor(simulator->moviePlayer(), assetMetadata);
        simulator->start();
    }
    // "<ms after start> <path> <body>" of every request to the server so far.
    Strings requestStream() const {
        Strings out;
        for (const auto& r : QMURLStubRegistry::shared().requests()) {
            if (r.url.find("/player/") == std::string::npos) {
                continue;  // the diagnostic handler's posts
            }
            out.push_back(std::to_string(r.timeMillis - startMillis) + " " +
                          r.url.substr(r.url.rfind("/player/")) + " " + r.body.value_or(""));
        }
        return out;
    }
    static std::shared_ptr<QMMPMoviePlayerControllerVeyraPlugin> plugin() {
        return std::dynamic_pointer_cast<QMMPMoviePlayerControllerVeyraPlugin>(
            QMMonitoringSessions::currentMPMoviePlayerMonitoringSession());
    }
    // The console without the diagnostic handler's lines: its post bodies and the answers that
    // the URL session's worker writes in its own time.
    Strings logs() const {
        Strings out;
        for (auto& line : loggedLines(console)) {
            if (!line.starts_with(R"({"session":)") && !line.starts_with("Status code: ") &&
                !line.starts_with("Error: ")) {
                out.push_back(std::move(line));
            }
        }
        return out;
    }
    long count(const std::string& line) const {
        const auto lines = logs();
        return std::count(lines.begin(), lines.end(), line);
    }
    // The parts of the session that must go with it: managers, handlers and metrics.
    std::vector<std::weak_ptr<QMObject>> sessionParts() const {
        std::vector<std::weak_ptr<QMObject>> parts{plugin()->eventManager(),
                                                   plugin()->eventManager()->handlers().at(0),
                                                   plugin()->eventManager()->handlers().at(1)};
        if (auto manager = plugin()->metricManager()) {
            parts.push_back(manager);
            for (const auto& [key, metric] : manager->metricsMap()) {
                parts.push_back(metric);
            }
        }
        return parts;
    }
    // A session ended by the player: no timer runs and only the plugin's own two player
    // observations are left, until the facade disposes of the plugin.
    void expectSessionEnded(const std::vector<std::weak_ptr<QMObject>>& parts) const {
        EXPECT_TRUE(plugin()->destroyed());
        EXPECT_EQ(plugin()->metricManager(), nullptr);
        EXPECT_EQ(plugin()->eventManager(), nullptr);
        EXPECT_EQ(plugin()->observationCount(), 0u);
        EXPECT_EQ(QMRunLoop::mainRunLoop()->timerCount(), 0u);
        EXPECT_EQ(QMNotificationCenter::defaultCenter()->observerCount(), 2u);
        for (const auto& part : parts) {
            EXPECT_TRUE(part.expired());
        }
        std::weak_ptr<QMMPMoviePlayerControllerVeyraPlugin> released = plugin();
        QMVeyraKit::pluginWithMPMoviePlayerController(nullptr, "A-1", "C-1", std::nullopt, "Name",
                                                      std::nullopt, std::nullopt, std::nullopt);
        EXPECT_EQ(QMNotificationCenter::defaultCenter()->observerCount(), 0u);
        QMMonitoringSessions::setCurrentMPMoviePlayerMonitoringSession(nullptr);
        QMObjectRepository::getRepositoryInstance()->setPlugin(nullptr);
        EXPECT_TRUE(released.expired());
    }

    std::shared_ptr<QMPlayerSimulator> simulator;
};

}  // namespace veyrakit
