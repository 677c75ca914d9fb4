#pragma once
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/QMObjectRepository.h"
#include "core/QMVeyraPlugin.h"
#include "events/QMEventManager.h"
#include "facade/QMMonitoringSessions.h"
#include "metrics/QMMetricManager.h"
#include "support/QMConsoleCapture.h"
#include "support/QMTestEnvironment.h"
#include "veyrakit/VeyraKit.h"

namespace veyrakit {

// A player plugin without a player: plain managers, and a record of the hooks it received.
class QMTestPlugin : public QMVeyraPlugin {
  public:
    int registerCount = 0;
    std::vector<std::string> commands;  // facade commands and dispose, in order
    std::vector<std::weak_ptr<QMMetricManager>> metricManagers;

    std::shared_ptr<QMMetricManager> getMetricManagerInstance() override {
        return metricManagers.emplace_back(std::make_shared<QMMetricManager>()).lock();
    }
    std::shared_ptr<QMEventManager> getEventManagerInstance() override {
        return std::make_shared<QMEventManager>();
    }
    void registerEventHandlers() override { ++registerCount; }
    void dispose() override { commands.push_back(destroyed() ? "dispose after destroy" : "dispose"); }
    void sizeChangedToFullScreen() override { commands.push_back("fullScreen"); }
    void sizeChangedToWindow() override { commands.push_back("window"); }
    void stopPlayback() override { commands.push_back("stop"); }
    void startAds() override { commands.push_back("startAds"); }
    void stopAds() override { commands.push_back("stopAds"); }
};

struct QMTestPluginParams {
    std::shared_ptr<QMURL> url = QMURL::URLWithString("https://cdn.example/v/index.m3u8");
    std::optional<std::string> streamType = "HLS", assetId = "A-1", serverHost = std::nullopt, qmrCID = "C-1",
                               assetType = std::nullopt, assetName = "Name", viewerId = "V-1";
    std::optional<QMJSON> assetMetadata = QMJSON::parse(R"([{"key":"genre","values":["a","b"]}])"),
                          viewerMetadata = std::nullopt;
    std::optional<QMPluginMetadata> pluginMetadata = QMPluginMetadata{{"pluginName", "iOS-AVPlayer"}};
};

inline std::shared_ptr<QMTestPlugin> makeTestPlugin(const QMTestPluginParams& p = {}) {
    auto plugin = std::make_shared<QMTestPlugin>();
    plugin->initWithParams(p.url, p.streamType, p.assetId, p.serverHost, p.qmrCID, p.assetType, p.assetName,
                           p.viewerId, p.assetMetadata, p.viewerMetadata, p.pluginMetadata);
    return plugin;
}

// Logger lines "<level> <prefix>\t{<message>}{<date>}" as "<level> <prefix> <message>"; other
// console lines as they are.
inline std::vector<std::string> loggedLines(const QMConsoleCapture& console) {
    std::vector<std::string> out;
    for (const auto& line : console.lines()) {
        const auto tab = line.find("\t{"), end = line.rfind("}{");
        out.push_back(tab == std::string::npos || end == std::string::npos || end < tab
                          ? line
                          : line.substr(0, tab) + " " + line.substr(tab + 2, end - tab - 2));
    }
    return out;
}

// Virtual-time fixture that lets go of every plugin the test made before the loop goes away.
class QMCoreTest : public QMVirtualTimeTest {
  protected:
    void TearDown() override {
        QMMonitoringSessions::setCurrentAVPlayerMonitoringSession(nullptr);
        QMMonitoringSessions::setCurrentMPMoviePlayerMonitoringSession(nullptr);
        QMObjectRepository::getRepositoryInstance()->setPlugin(nullptr);
        INTERVAL_LENGTH = 10;  // process-wide: the next test starts from the initial value
        QMVirtualTimeTest::TearDown();
    }
    void answer(const std::string& suffix, const std::string& body, long status = 200, int times = 1) {
        stubs().addStub(QMURLStubRegistry::urlEndsWith(suffix), QMStubResponse::json(body, status), times);
    }
    std::vector<std::string> bodies(const std::string& suffix) {
        std::vector<std::string> out;
        for (const auto& r : stubs().requestsTo(suffix)) {
            out.push_back(r.body.value_or("<none>"));
        }
        return out;
    }
    std::vector<int64_t> times(const std::string& suffix) {
        std::vector<int64_t> out;
        for (const auto& r : stubs().requestsTo(suffix)) {
            out.push_back(r.timeMillis - startMillis);
        }
        return out;
    }
    std::vector<std::string> logs() const { return loggedLines(console); }
};

}  // namespace veyrakit
