#include "demo/QMDemoMPMoviePlayerMediaPlayback.h"

#include "facade/QMMonitoringSessions.h"
#include "veyrakit/QMVeyraKit.h"
#include "veyrakit/platform/QMURL.h"

namespace veyrakit {

QMDemoMPMoviePlayerMediaPlayback::~QMDemoMPMoviePlayerMediaPlayback() { finish(); }

void QMDemoMPMoviePlayerMediaPlayback::monitor(const Settings& settings) {
    player_ = std::make_shared<MPMoviePlayerController>(QMURL::URLWithString(settings.mediaURL));
    QMVeyraKit::pluginWithMPMoviePlayerController(
        player_, settings.assetId, settings.serverURL, "veyrakit-demo", settings.assetType,
        settings.assetName, "demo-viewer", settings.assetMetadata, settings.viewerMetadata);
}

std::shared_ptr<QMGStreamerDriver> QMDemoMPMoviePlayerMediaPlayback::drive() {
    return QMGStreamerMPMoviePlayerDriver::driverWithPlayer(player_);
}

void QMDemoMPMoviePlayerMediaPlayback::play() { player_->play(); }

void QMDemoMPMoviePlayerMediaPlayback::leave() {
    if (sessionEndPending()) return;
    // The driver answers the stop with the finish for a viewer who left (reason 2).
    if (playing()) player_->stop();
    if (!sessionEnded()) endSessionLater();
}

std::shared_ptr<QMVeyraPlugin> QMDemoMPMoviePlayerMediaPlayback::session() const {
    return QMMonitoringSessions::currentMPMoviePlayerMonitoringSession();
}

void QMDemoMPMoviePlayerMediaPlayback::letGoOfSession() {
    // A destroyed movie player plugin still observes its player until it is disposed (the
    // facade's next creation would do it): the demo lets go of the player here.
    if (auto plugin = session()) plugin->dispose();
    QMMonitoringSessions::setCurrentMPMoviePlayerMonitoringSession(nullptr);
}

}  // namespace veyrakit
