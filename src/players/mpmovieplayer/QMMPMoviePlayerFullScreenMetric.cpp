#include "players/mpmovieplayer/QMMPMoviePlayerFullScreenMetric.h"

#include "veyrakit/platform/mediaplayer/MPMoviePlayerController.h"
#include "veyrakit/platform/mediaplayer/MPMoviePlayerNotifications.h"

namespace veyrakit {

const std::string& QMMPMoviePlayerFullScreenMetric::STATE_FULL_SCREEN() {
    return QMFullScreenPlayingState::STATE_FULL_SCREEN();
}

const std::string& QMMPMoviePlayerFullScreenMetric::STATE_CURRENT_INTERVAL_FULL_SCREEN() {
    return QMFullScreenPlayingState::STATE_CURRENT_INTERVAL_FULL_SCREEN();
}

void QMMPMoviePlayerFullScreenMetric::startMetricCollection() {
    if (!player_) {
        return;
    }
    observePlayer();
    if (player_->loadState() == MPMovieLoadStateStalled) {
        handleBuffering();
    }
    if (player_->playbackState() == MPMoviePlaybackStatePlaying) {
        handleUnpause();
    }
    observePlayerNotification(MPMoviePlayerDidEnterFullscreenNotification,
                              [](QMMPMoviePlayerPlayingStateMetric& metric) {
                                  static_cast<QMMPMoviePlayerFullScreenMetric&>(metric).onEnterFullScreen();
                              });
    observePlayerNotification(MPMoviePlayerDidExitFullscreenNotification,
                              [](QMMPMoviePlayerPlayingStateMetric& metric) {
                                  static_cast<QMMPMoviePlayerFullScreenMetric&>(metric).onExitFullScreen();
                              });
}

void QMMPMoviePlayerFullScreenMetric::stopMetricCollection() {
    QMMPMoviePlayerPlayingStateMetric::stopMetricCollection();
    stopObservingPlayer();
}

void QMMPMoviePlayerFullScreenMetric::handleUnpause() { fullScreen_.handleUnpause(); }

void QMMPMoviePlayerFullScreenMetric::handlePause() { fullScreen_.handlePause(); }

void QMMPMoviePlayerFullScreenMetric::handlePlayback() { fullScreen_.handlePlayback(); }

void QMMPMoviePlayerFullScreenMetric::handleBuffering() { fullScreen_.handleBuffering(); }

void QMMPMoviePlayerFullScreenMetric::onEnterFullScreen() { fullScreen_.onSizeChanged(true); }

void QMMPMoviePlayerFullScreenMetric::onExitFullScreen() { fullScreen_.onSizeChanged(false); }

bool QMMPMoviePlayerFullScreenMetric::canCollectMetric() { return true; }

std::optional<QMJSON> QMMPMoviePlayerFullScreenMetric::calculateMetric() {
    return fullScreen_.calculateMetric();
}

void QMMPMoviePlayerFullScreenMetric::afterMetricCollected() {
    QMMPMoviePlayerPlayingStateMetric::afterMetricCollected();
    fullScreen_.afterMetricCollected();
}

}  // namespace veyrakit
