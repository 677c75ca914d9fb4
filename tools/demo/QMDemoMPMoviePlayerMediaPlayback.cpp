#include "demo/QMDemoMPMoviePlayerMediaPlayback.h"

#include <stdexcept>

#include "core/QMObjectRepository.h"
#include "demo/QMDemoError.h"
#include "facade/QMMonitoringSessions.h"
#include "veyrakit/QMVeyraKit.h"
#include "veyrakit/platform/QMURL.h"

namespace veyrakit {

QMDemoMPMoviePlayerMediaPlayback::~QMDemoMPMoviePlayerMediaPlayback() { finish(); }

void QMDemoMPMoviePlayerMediaPlayback::start(const Settings& settings) {
    player_ = std::make_shared<MPMoviePlayerController>(QMURL::URLWithString(settings.mediaURL));
    pointDiagnosticsAt(settings);
    QMVeyraKit::pluginWithMPMoviePlayerController(
        player_, settings.assetId, settings.serverURL, "veyrakit-demo", settings.assetType,
        settings.assetName, "demo-viewer", settings.assetMetadata, settings.viewerMetadata);
    try {
        driver_ = QMGStreamerMPMoviePlayerDriver::driverWithPlayer(player_);
    } catch (const std::runtime_error& error) {
        throw QMDemoError(error.what(), QMDemoError::kFailure);
    }
    player_->play();
}

bool QMDemoMPMoviePlayerMediaPlayback::mediaOver() const { return !driver_ || driver_->isOver(); }

std::shared_ptr<QMError> QMDemoMPMoviePlayerMediaPlayback::failure() const {
    return driver_ ? driver_->failure() : nullptr;
}

void QMDemoMPMoviePlayerMediaPlayback::leave() {
    if (sessionEndPending()) return;
    // The driver answers the stop with the finish for a viewer who left (reason 2).
    if (driver_ && !driver_->isOver()) player_->stop();
    if (!sessionEnded()) endSessionLater();
}

std::shared_ptr<QMVeyraPlugin> QMDemoMPMoviePlayerMediaPlayback::session() const {
    return QMMonitoringSessions::currentMPMoviePlayerMonitoringSession();
}

void QMDemoMPMoviePlayerMediaPlayback::finish() {
    endSession();
    if (driver_) {
        driver_->stop();
        driver_.reset();
    }
    // A destroyed movie player plugin still observes its player until it is disposed (the
    // facade's next creation would do it): the demo lets go of the player here.
    if (auto plugin = session()) plugin->dispose();
    QMMonitoringSessions::setCurrentMPMoviePlayerMonitoringSession(nullptr);
    QMObjectRepository::getRepositoryInstance()->setPlugin(nullptr);
}

}  // namespace veyrakit
