#include "demo/QMDemoPlayback.h"

#include <filesystem>
#include <utility>

#include "core/QMObjectRepository.h"
#include "demo/QMDemoHost.h"
#include "facade/QMMonitoringSessions.h"
#include "platform/mediaplayer/QMMPMoviePlayerFinishReason.h"
#include "veyrakit/QMCustomMetadata.h"
#include "veyrakit/QMDiagnosticCollectors.h"
#include "veyrakit/QMVeyraKit.h"
#include "veyrakit/VeyraKit.h"
#include "veyrakit/platform/QMNotificationCenter.h"
#include "veyrakit/platform/QMRunLoop.h"
#include "veyrakit/platform/mediaplayer/MPMoviePlayerNotifications.h"

namespace veyrakit {

namespace {

std::shared_ptr<QMVeyraPlugin> currentPlugin(QMScenarioPlayerKind kind) {
    return kind == QMScenarioPlayerKind::AVPlayer
               ? QMMonitoringSessions::currentAVPlayerMonitoringSession()
               : QMMonitoringSessions::currentMPMoviePlayerMonitoringSession();
}

QMCustomMetadataArray metadata(const std::string& key, const std::string& value) {
    return {std::make_shared<QMCustomMetadata>(key, std::vector<std::string>{value})};
}

}  // namespace

QMDemoPlayback::QMDemoPlayback(std::shared_ptr<QMScenario> scenario, std::string serverURL)
    : scenario_(std::move(scenario)), serverURL_(std::move(serverURL)) {}

QMDemoPlayback::~QMDemoPlayback() { finish(); }

void QMDemoPlayback::start() {
    // The host hears of the scenario's end inside a step; it leaves the player on the next turn,
    // unless this playback is gone by then.
    std::weak_ptr<bool> alive = alive_;
    auto host = std::make_shared<QMDemoHost>([this, alive] {
        QMRunLoop::mainRunLoop()->post([this, alive] {
            if (alive.lock()) leavePlayer();
        });
    });
    simulator_ = QMPlayerSimulator::simulatorWithScenario(scenario_, host);
    createPlugin();
    observeFinish();
    simulator_->start();
}

void QMDemoPlayback::observeFinish() {
    if (scenario_->playerKind() != QMScenarioPlayerKind::MPMoviePlayer) return;
    // Registered after the plugin's own observers, so it hears of the finish once they are done.
    QMNotificationCenter::defaultCenter()->addObserver(
        this, MPMoviePlayerPlaybackDidFinishNotification, simulator_->mpMoviePlayer().get(),
        [this](const QMNotification& notification) {
            auto plugin = this->plugin();
            if (finishObserver_)
                finishObserver_(finishReasonOf(notification).value_or(-1), !plugin || plugin->destroyed());
        });
}

void QMDemoPlayback::createPlugin() {
    const std::string name = std::filesystem::path(scenario_->sourceName()).stem().string();
    const std::string assetType = scenario_->isLive() ? "LIVE" : "VOD";
    const std::string assetName = "VeyraKit demo: " + name;
    auto assetMetadata = metadata("scenario", scenario_->sourceName());
    auto viewerMetadata = metadata("app", "veyrakit-demo");
    QMDiagnosticCollectors::setSessionEventsURL(sessionEventsURL_);
    QMDiagnosticCollectors::setDiagnosticEventsURL(diagnosticEventsURL_);
    if (scenario_->playerKind() == QMScenarioPlayerKind::AVPlayer) {
        QMVeyraKit::pluginWithAVPlayer(simulator_->player(), name, serverURL_, "veyrakit-demo", assetType,
                                       assetName, "demo-viewer", assetMetadata, viewerMetadata);
    } else {
        QMVeyraKit::pluginWithMPMoviePlayerController(simulator_->mpMoviePlayer(), name, serverURL_,
                                                      "veyrakit-demo", assetType, assetName, "demo-viewer",
                                                      assetMetadata, viewerMetadata);
    }
}

void QMDemoPlayback::leavePlayer() {
    auto plugin = this->plugin();
    if (!plugin || plugin->destroyed()) return;
    QMVeyraKit::stopPlayback();
    // An ad break still running, or a player the facade does not forward to, keeps the session
    // open; the app's screen is gone, so it ends after one more interval at most.
    endTimer_ = QMTimer::scheduledTimerWithTimeInterval(
        INTERVAL_LENGTH + 1.0, [this](QMTimer&) { endSession(); }, false);
}

void QMDemoPlayback::endSession() {
    endTimer_.reset();
    if (auto plugin = this->plugin(); plugin && !plugin->destroyed()) plugin->destroy();
}

bool QMDemoPlayback::isOver() const {
    auto plugin = this->plugin();
    bool sessionEnded = !plugin || plugin->destroyed();
    return scenarioFinished() && sessionEnded && QMRunLoop::mainRunLoop()->transferCount() == 0;
}

bool QMDemoPlayback::scenarioFinished() const { return simulator_ && simulator_->isFinished(); }

std::shared_ptr<QMVeyraPlugin> QMDemoPlayback::plugin() const {
    return currentPlugin(scenario_->playerKind());
}

std::optional<std::string> QMDemoPlayback::sessionId() const {
    auto plugin = this->plugin();
    return plugin ? plugin->sessionId() : std::nullopt;
}

int64_t QMDemoPlayback::startMillis() const { return simulator_ ? simulator_->startMillis() : 0; }

void QMDemoPlayback::finish() {
    if (endTimer_) {
        endTimer_->invalidate();
        endTimer_.reset();
    }
    endSession();
    QMNotificationCenter::defaultCenter()->removeObserver(this);
    if (simulator_) simulator_->stop();
    if (scenario_->playerKind() == QMScenarioPlayerKind::AVPlayer) {
        // No tear-down stops the diagnostic reporter: the host's stop does, before the host lets
        // go of the plugin (a reporter out of its reach would post on for good).
        QMVeyraKit::stopPlayback();
        QMMonitoringSessions::setCurrentAVPlayerMonitoringSession(nullptr);
    } else {
        // A destroyed movie player plugin still observes its player until it is disposed (the
        // facade's next creation would do it): the host lets go of the player here.
        if (auto plugin = QMMonitoringSessions::currentMPMoviePlayerMonitoringSession()) plugin->dispose();
        QMMonitoringSessions::setCurrentMPMoviePlayerMonitoringSession(nullptr);
    }
    QMObjectRepository::getRepositoryInstance()->setPlugin(nullptr);
}

}  // namespace veyrakit
