#include "players/mpmovieplayer/QMMPMoviePlayerViewingTimeMetric.h"

#include "veyrakit/platform/QMTimer.h"
#include "veyrakit/platform/mediaplayer/MPMoviePlayerController.h"

namespace veyrakit {

void QMMPMoviePlayerViewingTimeMetric::startSamplingPlayhead() {
    auto self = selfAs<QMMPMoviePlayerViewingTimeMetric>();
    currentTimeChangeTimer_ = QMTimer::scheduledTimerWithTimeInterval(
        kTickSeconds, [self](QMTimer&) { self->onCurrentTimeTimerTick(); }, true);
}

void QMMPMoviePlayerViewingTimeMetric::takeStartingCondition() {
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

}  // namespace veyrakit
