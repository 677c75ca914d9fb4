#include "players/mpmovieplayer/QMMPMoviePlayerViewingTimeMetric.h"

#include "platform/QMTimer.h"
#include "veyrakit/platform/mediaplayer/MPMoviePlayerController.h"

namespace veyrakit {

void QMMPMoviePlayerViewingTimeMetric::startMetricCollection() {
    if (!player_) {
        return;
    }
    observePlayer();
    auto self = selfAs<QMMPMoviePlayerViewingTimeMetric>();
    currentTimeChangeTimer_ = QMTimer::scheduledTimerWithTimeInterval(
        kTickSeconds, [self](QMTimer&) { self->onCurrentTimeTimerTick(); }, true);
    const auto loadState = player_->loadState();
    if (loadState == MPMovieLoadStateStalled) {
        handleBuffering();
    }
    // Playable alone counts as playing here; playthrough OK does not.
    if (loadState == MPMovieLoadStatePlayable) {
        handleUnpause();
    }
}

void QMMPMoviePlayerViewingTimeMetric::stopMetricCollection() {
    QMMPMoviePlayerPlayingStateMetric::stopMetricCollection();
    stopObservingPlayer();
    if (currentTimeChangeTimer_) {
        currentTimeChangeTimer_->invalidate();
    }
}

void QMMPMoviePlayerViewingTimeMetric::onCurrentTimeTimerTick() {
    if (!isInPlayingMode_) {
        return;
    }
    const double position = player_->currentPlaybackTime();
    if (lastCurrentTime_ == position) {
        return;
    }
    lastCurrentTime_ = position;
    viewedTime_.recordPosition(position);
}

void QMMPMoviePlayerViewingTimeMetric::interruptPlaying() {
    // Only the state entered last is vouched for: the other may be closed and log so.
    exitPlayingStates();
}

bool QMMPMoviePlayerViewingTimeMetric::inState(const std::string& name) const {
    const auto last = lastActiveState();
    return last && last->name() == name;
}

}  // namespace veyrakit
