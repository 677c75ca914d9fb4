#include "players/mpmovieplayer/QMMPMoviePlayerFullScreenMetric.h"

#include "players/common/QMWeakObservation.h"
#include "veyrakit/platform/mediaplayer/MPMoviePlayerController.h"
#include "veyrakit/platform/mediaplayer/MPMoviePlayerNotifications.h"

namespace veyrakit {

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
    observeWhileAlive(
        *this, MPMoviePlayerDidEnterFullscreenNotification, player_.get(),
        [](QMMPMoviePlayerFullScreenMetric& self, const QMNotification&) { self.onEnterFullScreen(); });
    observeWhileAlive(
        *this, MPMoviePlayerDidExitFullscreenNotification, player_.get(),
        [](QMMPMoviePlayerFullScreenMetric& self, const QMNotification&) { self.onExitFullScreen(); });
}

}  // namespace veyrakit
