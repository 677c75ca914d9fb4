#include "demo/QMDemoAVPlayerMediaPlayback.h"

#include "facade/QMMonitoringSessions.h"
#include "veyrakit/QMVeyraKit.h"
#include "veyrakit/platform/QMURL.h"

namespace veyrakit {

QMDemoAVPlayerMediaPlayback::~QMDemoAVPlayerMediaPlayback() { finish(); }

void QMDemoAVPlayerMediaPlayback::monitor(const Settings& settings) {
    player_ = AVPlayer::playerWithURL(QMURL::URLWithString(settings.mediaURL));
    QMVeyraKit::pluginWithAVPlayer(player_, settings.assetId, settings.serverURL, "veyrakit-demo",
                                   settings.assetType, settings.assetName, "demo-viewer",
                                   settings.assetMetadata, settings.viewerMetadata);
}

std::shared_ptr<QMGStreamerDriver> QMDemoAVPlayerMediaPlayback::drive() {
    return QMGStreamerAVPlayerDriver::driverWithPlayer(player_);
}

void QMDemoAVPlayerMediaPlayback::play() { player_->play(); }

void QMDemoAVPlayerMediaPlayback::leave() {
    if (playing()) {
        driver()->stop();
        player_->pause();
    }
    if (sessionEnded() || sessionEndPending()) return;
    QMVeyraKit::stopPlayback();
    endSessionLater();
}

std::shared_ptr<QMVeyraPlugin> QMDemoAVPlayerMediaPlayback::session() const {
    return QMMonitoringSessions::currentAVPlayerMonitoringSession();
}

void QMDemoAVPlayerMediaPlayback::letGoOfSession() {
    // No tear-down stops the diagnostic reporter: the host's stop does, before it lets go.
    QMVeyraKit::stopPlayback();
    QMMonitoringSessions::setCurrentAVPlayerMonitoringSession(nullptr);
}

}  // namespace veyrakit
