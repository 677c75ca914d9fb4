#include "players/mpmovieplayer/QMMPMoviePlayerPlayingStateMetric.h"

#include "players/common/QMWeakObservation.h"
#include "veyrakit/platform/mediaplayer/MPMoviePlayerController.h"
#include "veyrakit/platform/mediaplayer/MPMoviePlayerNotifications.h"

namespace veyrakit {

void QMMPMoviePlayerPlayingStateMetric::onBufferingChange(const QMNotification&) {
    const auto loadState = player_->loadState();
    if (loadState == MPMovieLoadStateStalled) {
        handleBuffering();
    } else if (loadState == MPMovieLoadStatePlayable || loadState == MPMovieLoadStatePlaythroughOK) {
        handlePlayback();
    }
}

void QMMPMoviePlayerPlayingStateMetric::onPlaybackStateChange(const QMNotification&) {
    if (player_->playbackState() == MPMoviePlaybackStatePlaying) {
        handleUnpause();
    } else {
        handlePause();
    }
}

void QMMPMoviePlayerPlayingStateMetric::observePlayer() {
    observeWhileAlive(*this, MPMoviePlayerLoadStateDidChangeNotification, player_.get(),
                      &QMMPMoviePlayerPlayingStateMetric::onBufferingChange);
    observeWhileAlive(*this, MPMoviePlayerPlaybackStateDidChangeNotification, player_.get(),
                      &QMMPMoviePlayerPlayingStateMetric::onPlaybackStateChange);
}

void QMMPMoviePlayerPlayingStateMetric::stopObservingPlayer() {
    QMNotificationCenter::defaultCenter()->removeObserver(this);
}

}  // namespace veyrakit
