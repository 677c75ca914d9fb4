#include "players/mpmovieplayer/QMMPMoviePlayerViewingTimeMetric.h"

#include "platform/QMFormat.h"
#include "veyrakit/platform/QMTimer.h"
#include "veyrakit/platform/mediaplayer/MPMoviePlayerController.h"

namespace veyrakit {

namespace {
constexpr double kTickSeconds = 0.25;
}  // namespace

const std::string& QMMPMoviePlayerViewingTimeMetric::STATE_PLAYING() {
    static const std::string name = "playing";
    return name;
}

const std::string& QMMPMoviePlayerViewingTimeMetric::STATE_CURRENT_INTERVAL_PLAYING() {
    static const std::string name = "currentPlaying";
    return name;
}

const std::string& QMMPMoviePlayerViewingTimeMetric::STATE_PLAYING_BUFFERING() {
    static const std::string name = "playing_buffering";
    return name;
}

const std::string& QMMPMoviePlayerViewingTimeMetric::STATE_BUFFERING() {
    static const std::string name = "buffering";
    return name;
}

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

int32_t QMMPMoviePlayerViewingTimeMetric::getTotalViewingTime() const {
    return viewedTime_.getTotalViewingTime();
}

int32_t QMMPMoviePlayerViewingTimeMetric::getCurrentViewingTime() const {
    return viewedTime_.getCurrentViewingTime();
}

void QMMPMoviePlayerViewingTimeMetric::handleUnpause() {
    if (lastEntered(STATE_BUFFERING())) {
        exitStateWithName(STATE_BUFFERING());
        enterStateWithName(STATE_PLAYING_BUFFERING());
        return;
    }
    startPlaying();
}

void QMMPMoviePlayerViewingTimeMetric::handlePause() {
    if (lastEntered(STATE_PLAYING()) || lastEntered(STATE_CURRENT_INTERVAL_PLAYING())) {
        // Only the state entered last is vouched for: the other may be closed and log so.
        exitStateWithName(STATE_PLAYING());
        exitStateWithName(STATE_CURRENT_INTERVAL_PLAYING());
        isInPlayingMode_ = false;
    }
}

void QMMPMoviePlayerViewingTimeMetric::handlePlayback() {
    if (lastEntered(STATE_PLAYING_BUFFERING())) {
        exitStateWithName(STATE_PLAYING_BUFFERING());
        startPlaying();
    } else if (lastEntered(STATE_BUFFERING())) {
        exitStateWithName(STATE_BUFFERING());
    }
}

void QMMPMoviePlayerViewingTimeMetric::handleBuffering() {
    if (lastEntered(STATE_CURRENT_INTERVAL_PLAYING()) || lastEntered(STATE_PLAYING())) {
        exitStateWithName(STATE_PLAYING());
        exitStateWithName(STATE_CURRENT_INTERVAL_PLAYING());
        // Playing mode stays on, unlike the AVPlayer member: kept as the product has it.
        enterStateWithName(STATE_PLAYING_BUFFERING());
    }
    if (!lastEntered(STATE_PLAYING_BUFFERING())) {
        enterStateWithName(STATE_BUFFERING());
    }
}

bool QMMPMoviePlayerViewingTimeMetric::canCollectMetric() { return true; }

std::optional<QMJSON> QMMPMoviePlayerViewingTimeMetric::calculateMetric() {
    QMJSON result = QMJSON::object();
    if (isInPlayingMode_) {
        exitStateWithName(STATE_CURRENT_INTERVAL_PLAYING());
    }
    if (auto state = loadState(STATE_PLAYING())) {
        result[PROPERTY_TOTAL_PLAYING_TIME()] = QMFormat("%lld", state->getStateTotalTime());
    }
    if (auto state = loadState(STATE_CURRENT_INTERVAL_PLAYING())) {
        result[PROPERTY_CURRENT_PLAYING_TIME()] = QMFormat("%lld", state->getStateTotalTime());
    }
    result[PROPERTY_TOTAL_VIEWED_TIME()] = QMFormat("%d", getTotalViewingTime());
    result[PROPERTY_CURRENT_VIEWED_TIME()] = QMFormat("%d", getCurrentViewingTime());
    return result;
}

void QMMPMoviePlayerViewingTimeMetric::afterMetricCollected() {
    QMMPMoviePlayerPlayingStateMetric::afterMetricCollected();
    if (loadState(STATE_CURRENT_INTERVAL_PLAYING())) {
        clearHistory(STATE_CURRENT_INTERVAL_PLAYING());
    }
    if (isInPlayingMode_) {
        enterStateWithName(STATE_CURRENT_INTERVAL_PLAYING());
    }
    viewedTime_.resetCurrent();
}

bool QMMPMoviePlayerViewingTimeMetric::lastEntered(const std::string& name) const {
    const auto last = lastActiveState();
    return last && last->name() == name;
}

void QMMPMoviePlayerViewingTimeMetric::startPlaying() {
    enterStateWithName(STATE_PLAYING());
    enterStateWithName(STATE_CURRENT_INTERVAL_PLAYING());
    isInPlayingMode_ = true;
}

}  // namespace veyrakit
