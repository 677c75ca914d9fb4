#include "demo/QMDemoAVPlayerMediaPlayback.h"

#include <stdexcept>

#include "core/QMObjectRepository.h"
#include "demo/QMDemoError.h"
#include "facade/QMMonitoringSessions.h"
#include "veyrakit/QMVeyraKit.h"
#include "veyrakit/platform/QMURL.h"

namespace veyrakit {

QMDemoAVPlayerMediaPlayback::~QMDemoAVPlayerMediaPlayback() { finish(); }

void QMDemoAVPlayerMediaPlayback::start(const Settings& settings) {
    player_ = AVPlayer::playerWithURL(QMURL::URLWithString(settings.mediaURL));
    pointDiagnosticsAt(settings);
    QMVeyraKit::pluginWithAVPlayer(player_, settings.assetId, settings.serverURL, "veyrakit-demo",
                                   settings.assetType, settings.assetName, "demo-viewer",
                                   settings.assetMetadata, settings.viewerMetadata);
    try {
        driver_ = QMGStreamerAVPlayerDriver::driverWithPlayer(player_);
    } catch (const std::runtime_error& error) {
        throw QMDemoError(error.what(), QMDemoError::kFailure);
    }
    player_->play();
}

bool QMDemoAVPlayerMediaPlayback::mediaOver() const { return !driver_ || driver_->isOver(); }

std::shared_ptr<QMError> QMDemoAVPlayerMediaPlayback::failure() const {
    return driver_ ? driver_->failure() : nullptr;
}

void QMDemoAVPlayerMediaPlayback::leave() {
    if (driver_ && !driver_->isOver()) {
        driver_->stop();
        player_->pause();
    }
    if (sessionEnded() || sessionEndPending()) return;
    QMVeyraKit::stopPlayback();
    endSessionLater();
}

std::shared_ptr<QMVeyraPlugin> QMDemoAVPlayerMediaPlayback::session() const {
    return QMMonitoringSessions::currentAVPlayerMonitoringSession();
}

void QMDemoAVPlayerMediaPlayback::finish() {
    endSession();
    if (driver_) {
        driver_->stop();
        driver_.reset();
    }
    // No tear-down stops the diagnostic reporter: the host's stop does, before it lets go.
    QMVeyraKit::stopPlayback();
    QMMonitoringSessions::setCurrentAVPlayerMonitoringSession(nullptr);
    QMObjectRepository::getRepositoryInstance()->setPlugin(nullptr);
}

}  // namespace veyrakit
