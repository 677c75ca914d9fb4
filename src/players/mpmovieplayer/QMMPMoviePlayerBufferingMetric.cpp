#include "players/mpmovieplayer/QMMPMoviePlayerBufferingMetric.h"

#include "platform/mediaplayer/QMMPMoviePlayerFinishReason.h"
#include "players/common/QMWeakObservation.h"
#include "veyrakit/platform/mediaplayer/MPMoviePlayerController.h"
#include "veyrakit/platform/mediaplayer/MPMoviePlayerNotifications.h"

namespace veyrakit {

void QMMPMoviePlayerBufferingMetric::startMetricCollection() {
    observeWhileAlive(*this, MPMoviePlayerPlaybackDidFinishNotification, player_.get(),
                      &QMMPMoviePlayerBufferingMetric::onMediaErrorEvent);
    observeWhileAlive(*this, MPMoviePlayerLoadStateDidChangeNotification, player_.get(),
                      &QMMPMoviePlayerBufferingMetric::onBufferingChange);
    takeLoadState();
}

void QMMPMoviePlayerBufferingMetric::stopMetricCollection() {
    QMPluginBufferingMetric::stopMetricCollection();
    auto center = QMNotificationCenter::defaultCenter();
    center->removeObserver(this, MPMoviePlayerPlaybackDidFinishNotification, player_.get());
    center->removeObserver(this, MPMoviePlayerLoadStateDidChangeNotification, player_.get());
    stopObservingSessionIdOnce();
}

void QMMPMoviePlayerBufferingMetric::onBufferingChange(const QMNotification&) { takeLoadState(); }

void QMMPMoviePlayerBufferingMetric::onMediaErrorEvent(const QMNotification& notification) {
    if (finishReasonOf(notification) == MPMovieFinishReasonPlaybackError) {
        handleMediaError();
    }
}

void QMMPMoviePlayerBufferingMetric::handleMediaError() { onMediaError(); }

const std::string& QMMPMoviePlayerBufferingMetric::currentBufferingKey() const {
    return PROPERTY_CURRENT_BUFFER_TIME();
}

bool QMMPMoviePlayerBufferingMetric::reopensIntervalAfterReport() const { return true; }

void QMMPMoviePlayerBufferingMetric::takeLoadState() {
    if (!player_) {
        return;
    }
    // Equality, not bits: the combination playable and playthrough OK (3) changes nothing.
    const auto loadState = player_->loadState();
    if (loadState == MPMovieLoadStateStalled) {
        handleBuffering();
    } else if (loadState == MPMovieLoadStatePlayable || loadState == MPMovieLoadStatePlaythroughOK) {
        handlePlayback();
    }
}

}  // namespace veyrakit
