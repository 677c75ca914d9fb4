#include "players/avplayer/QMAVPlayerViewingTimeMetric.h"

#include "logging/QMLogger.h"
#include "platform/QMFormat.h"
#include "veyrakit/platform/avfoundation/AVPlayer.h"

namespace veyrakit {

namespace {
constexpr double kTickSeconds = 0.25;
}  // namespace

const std::string& QMAVPlayerViewingTimeMetric::STATE_PLAYING() {
    static const std::string name = "playing";
    return name;
}

const std::string& QMAVPlayerViewingTimeMetric::STATE_CURRENT_INTERVAL_PLAYING() {
    static const std::string name = "currentPlaying";
    return name;
}

const std::string& QMAVPlayerViewingTimeMetric::STATE_PLAYING_BUFFERING() {
    static const std::string name = "playing_buffering";
    return name;
}

const std::string& QMAVPlayerViewingTimeMetric::STATE_BUFFERING() {
    static const std::string name = "buffering";
    return name;
}

void QMAVPlayerViewingTimeMetric::startMetricCollection() {
    if (!player_) {
        return;
    }
    observePlayer();
    auto self = selfAs<QMAVPlayerViewingTimeMetric>();
    periodicalTimeObserver_ =
        player_->addPeriodicTimeObserverForInterval(CMTimeMakeWithSeconds(kTickSeconds, kCMTimeMaxTimescale),
                                                    nullptr, [self](CMTime) { self->onPlayerTimeChanged(); });
    takePlayerCondition();
}

void QMAVPlayerViewingTimeMetric::stopMetricCollection() {
    QMAVPlayerPlayingStateMetric::stopMetricCollection();
    if (!player_) {
        return;
    }
    stopObservingPlayer();
    player_->removeTimeObserver(periodicalTimeObserver_);
}

void QMAVPlayerViewingTimeMetric::observeValueForKeyPath(const std::string& keyPath, QMObject* object,
                                                         const QMKeyValueChange& change, void* context) {
    if (!isActive_) {
        QMLogger::info("viewTime metric disable", "IR");
        return;
    }
    dispatchPlayerChange(keyPath, object, context);
}

void QMAVPlayerViewingTimeMetric::onPlayerTimeChanged() {
    const auto& item = player_ ? player_->currentItem() : nullptr;
    const CMTime time = item ? item->currentTime() : kCMTimeZero;
    if (!isInPlayingMode_) {
        return;
    }
    const double seconds = CMTimeGetSeconds(time);
    if (CMTimeGetSeconds(lastCurrentTime_) == seconds) {
        return;
    }
    lastCurrentTime_ = time;
    viewedTime_.recordPosition(seconds);
}

int32_t QMAVPlayerViewingTimeMetric::getTotalViewingTime() const { return viewedTime_.getTotalViewingTime(); }

int32_t QMAVPlayerViewingTimeMetric::getCurrentViewingTime() const {
    return viewedTime_.getCurrentViewingTime();
}

void QMAVPlayerViewingTimeMetric::handleUnpause() {
    if (isLastActiveState(STATE_BUFFERING())) {
        exitStateWithName(STATE_BUFFERING());
        enterStateWithName(STATE_PLAYING_BUFFERING());
        return;
    }
    startPlaying();
}

void QMAVPlayerViewingTimeMetric::handlePause() {
    if (isLastActiveState(STATE_PLAYING()) || isLastActiveState(STATE_CURRENT_INTERVAL_PLAYING())) {
        stopPlaying();
    }
}

void QMAVPlayerViewingTimeMetric::handlePlayback() {
    if (isLastActiveState(STATE_PLAYING_BUFFERING())) {
        exitStateWithName(STATE_PLAYING_BUFFERING());
        startPlaying();
    } else if (isLastActiveState(STATE_BUFFERING())) {
        exitStateWithName(STATE_BUFFERING());
    }
}

void QMAVPlayerViewingTimeMetric::handleBuffering() {
    if (isLastActiveState(STATE_CURRENT_INTERVAL_PLAYING()) || isLastActiveState(STATE_PLAYING())) {
        stopPlaying();
        enterStateWithName(STATE_PLAYING_BUFFERING());
    } else if (!isLastActiveState(STATE_PLAYING_BUFFERING())) {
        enterStateWithName(STATE_BUFFERING());
    }
}

bool QMAVPlayerViewingTimeMetric::canCollectMetric() { return true; }

std::optional<QMJSON> QMAVPlayerViewingTimeMetric::calculateMetric() {
    QMJSON result = QMJSON::object();
    if (!isActive_) {
        if (!firstAds_) {
            firstAds_ = true;
            return resultBeforAds_;
        }
        return result;
    }
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

void QMAVPlayerViewingTimeMetric::afterMetricCollected() {
    QMAVPlayerPlayingStateMetric::afterMetricCollected();
    if (loadState(STATE_CURRENT_INTERVAL_PLAYING())) {
        clearHistory(STATE_CURRENT_INTERVAL_PLAYING());
    }
    if (isLastActiveState(STATE_PLAYING()) && isInPlayingMode_ && isActive_) {
        enterStateWithName(STATE_CURRENT_INTERVAL_PLAYING());
    }
    viewedTime_.resetCurrent();
}

void QMAVPlayerViewingTimeMetric::pauseMetricCollection() {
    handlePause();
    // Computed while still active and without the reset hook: the interval goes on after the
    // advertisement.
    resultBeforAds_ = *calculateMetric();
    isActive_ = false;
}

void QMAVPlayerViewingTimeMetric::resumeMetricCollection() {
    firstAds_ = false;
    isActive_ = true;
}

void QMAVPlayerViewingTimeMetric::startPlaying() {
    enterStateWithName(STATE_PLAYING());
    enterStateWithName(STATE_CURRENT_INTERVAL_PLAYING());
    isInPlayingMode_ = true;
}

void QMAVPlayerViewingTimeMetric::stopPlaying() {
    exitStateWithName(STATE_PLAYING());
    exitStateWithName(STATE_CURRENT_INTERVAL_PLAYING());
    isInPlayingMode_ = false;
}

}  // namespace veyrakit
