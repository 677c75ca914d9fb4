#include "demo/QMDemoAVPlayerMediaPlayback.h"

#include <stdexcept>

#include "core/QMObjectRepository.h"
#include "demo/QMDemoError.h"
#include "facade/QMMonitoringSessions.h"
#include "platform/QMURL.h"
#include "veyrakit/QMDiagnosticCollectors.h"
#include "veyrakit/QMVeyraKit.h"
#include "veyrakit/VeyraKit.h"

QMDemoAVPlayerMediaPlayback::~QMDemoAVPlayerMediaPlayback() { finish(); }

void QMDemoAVPlayerMediaPlayback::start(const Settings& settings) {
    player_ = AVPlayer::playerWithURL(QMURL::URLWithString(settings.mediaURL));
    QMDiagnosticCollectors::setSessionEventsURL(settings.sessionEventsURL);
    QMDiagnosticCollectors::setDiagnosticEventsURL(settings.diagnosticEventsURL);
    // The length of the media is not known before it loads: the asset type says on demand.
    QMVeyraKit::pluginWithAVPlayer(player_, settings.assetId, settings.serverURL, "veyrakit-demo", "VOD",
                                   settings.assetName, "demo-viewer", settings.assetMetadata,
                                   settings.viewerMetadata);
    try {
        driver_ = QMGStreamerAVPlayerDriver::driverWithPlayer(player_);
    } catch (const std::runtime_error& error) {
        throw QMDemoError(error.what(), QMDemoError::kFailure);
    }
    player_->play();
}

bool QMDemoAVPlayerMediaPlayback::mediaOver() const { return !driver_ || driver_->isOver(); }

bool QMDemoAVPlayerMediaPlayback::sessionEnded() const {
    auto plugin = QMDemoAVPlayerMediaPlayback::plugin();
    return !plugin || plugin->destroyed();
}

void QMDemoAVPlayerMediaPlayback::leave() {
    if (driver_ && !driver_->isOver()) {
        driver_->stop();
        player_->pause();
    }
    if (sessionEnded() || endTimer_) return;
    QMVeyraKit::stopPlayback();
    endTimer_ = QMTimer::scheduledTimerWithTimeInterval(
        INTERVAL_LENGTH + 1.0, [this](QMTimer&) { endSession(); }, false);
}

void QMDemoAVPlayerMediaPlayback::endSession() {
    if (endTimer_) {
        endTimer_->invalidate();
        endTimer_.reset();
    }
    if (auto plugin = QMDemoAVPlayerMediaPlayback::plugin(); plugin && !plugin->destroyed())
        plugin->destroy();
}

std::shared_ptr<QMVeyraPlugin> QMDemoAVPlayerMediaPlayback::plugin() {
    return QMMonitoringSessions::currentAVPlayerMonitoringSession();
}

std::optional<std::string> QMDemoAVPlayerMediaPlayback::sessionId() const {
    auto plugin = QMDemoAVPlayerMediaPlayback::plugin();
    return plugin ? plugin->sessionId() : std::nullopt;
}

void QMDemoAVPlayerMediaPlayback::finish() {
    endSession();
    if (driver_) {
        driver_->stop();
        driver_.reset();
    }
    QMMonitoringSessions::setCurrentAVPlayerMonitoringSession(nullptr);
    QMObjectRepository::getRepositoryInstance()->setPlugin(nullptr);
}
