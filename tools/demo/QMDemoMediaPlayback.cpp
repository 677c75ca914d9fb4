#include "demo/QMDemoMediaPlayback.h"

#include "demo/QMDemoError.h"
#include "veyrakit/QMDiagnosticCollectors.h"
#include "veyrakit/VeyraKit.h"
#include "veyrakit/platform/QMRunLoop.h"
#if VEYRAKIT_DEMO_GSTREAMER
#include "demo/QMDemoAVPlayerMediaPlayback.h"
#include "demo/QMDemoMPMoviePlayerMediaPlayback.h"
#endif

namespace veyrakit {

std::unique_ptr<QMDemoMediaPlayback> QMDemoMediaPlayback::make(QMDemoOptions::Player player) {
#if VEYRAKIT_DEMO_GSTREAMER
    if (player == QMDemoOptions::Player::AVPlayer) return std::make_unique<QMDemoAVPlayerMediaPlayback>();
    return std::make_unique<QMDemoMPMoviePlayerMediaPlayback>();
#else
    throw QMDemoError(
        "--media: this build has no real player (GStreamer 1.22 or later was not found when it was "
        "configured)",
        QMDemoError::kFailure);
#endif
}

bool QMDemoMediaPlayback::isOver() const {
    return mediaOver() && sessionEnded() && QMRunLoop::mainRunLoop()->transferCount() == 0;
}

QMDemoMediaPlayback::~QMDemoMediaPlayback() {
    if (endTimer_) endTimer_->invalidate();
}

bool QMDemoMediaPlayback::sessionEnded() const {
    auto plugin = session();
    return !plugin || plugin->destroyed();
}

std::optional<std::string> QMDemoMediaPlayback::sessionId() const {
    auto plugin = session();
    return plugin ? plugin->sessionId() : std::nullopt;
}

void QMDemoMediaPlayback::pointDiagnosticsAt(const Settings& settings) {
    QMDiagnosticCollectors::setSessionEventsURL(settings.sessionEventsURL);
    QMDiagnosticCollectors::setDiagnosticEventsURL(settings.diagnosticEventsURL);
}

void QMDemoMediaPlayback::endSessionLater() {
    if (endTimer_) return;
    endTimer_ = QMTimer::scheduledTimerWithTimeInterval(
        INTERVAL_LENGTH + 1.0, [this](QMTimer&) { endSession(); }, false);
}

void QMDemoMediaPlayback::endSession() {
    if (endTimer_) {
        endTimer_->invalidate();
        endTimer_.reset();
    }
    if (auto plugin = session(); plugin && !plugin->destroyed()) plugin->destroy();
}

}  // namespace veyrakit
