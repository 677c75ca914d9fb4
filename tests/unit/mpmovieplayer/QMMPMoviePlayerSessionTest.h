#pragma once
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "facade/QMMonitoringSessions.h"
#include "players/mpmovieplayer/QMMPMoviePlayerControllerVeyraPlugin.h"
#include "unit/players/QMPlayerSessionTest.h"
#include "veyrakit/platform/mediaplayer/MPMoviePlayerController.h"

namespace veyrakit {

// How movie player sessions are monitored in the session tests.
struct QMMPMoviePlayerSessionKind {
    using Plugin = QMMPMoviePlayerControllerVeyraPlugin;
    using Player = MPMoviePlayerController;
    static constexpr const char* kNoPlayerLine =
        "E T MPMoviePlayerController instance is null, the plugin will not initialized";
    // The diagnostic handler's posts, once a second.
    static constexpr const char* kDiagnosticsPath = "/veyrakit/";
    static constexpr const char* kDiagnosticsAnswer = "";

    static void monitor(const std::shared_ptr<MPMoviePlayerController>& player, const std::string& serverHost,
                        const std::optional<QMCustomMetadataArray>& assetMetadata,
                        const std::optional<QMCustomMetadataArray>& viewerMetadata) {
        QMVeyraKit::pluginWithMPMoviePlayerController(player, "A-1", serverHost, "C-1", std::nullopt, "Name",
                                                      "V-1", assetMetadata, viewerMetadata);
    }
    // The plugin is destroyed and disposed.
    static void endMonitoring() {
        QMVeyraKit::pluginWithMPMoviePlayerController(nullptr, "A-1", "C-1", std::nullopt, "Name",
                                                      std::nullopt, std::nullopt, std::nullopt);
    }
    static std::shared_ptr<QMVeyraPlugin> currentSession() {
        return QMMonitoringSessions::currentMPMoviePlayerMonitoringSession();
    }
    static std::shared_ptr<MPMoviePlayerController> playerOf(QMPlayerSimulator& simulator) {
        return simulator.mpMoviePlayer();
    }
    // The diagnostic handler's post bodies and the answers that the URL session's worker writes
    // in its own time.
    static bool keepsLogLine(const std::string& line) {
        return !line.starts_with(R"({"session":)") && !line.starts_with("Status code: ") &&
               !line.starts_with("Error: ");
    }
};

class QMMPMoviePlayerSessionTest : public QMPlayerSessionTest<QMMPMoviePlayerSessionKind> {
  protected:
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
        QMMPMoviePlayerSessionKind::endMonitoring();
        EXPECT_EQ(QMNotificationCenter::defaultCenter()->observerCount(), 0u);
        QMMonitoringSessions::setCurrentMPMoviePlayerMonitoringSession(nullptr);
        QMObjectRepository::getRepositoryInstance()->setPlugin(nullptr);
        EXPECT_TRUE(released.expired());
    }
};

}  // namespace veyrakit
