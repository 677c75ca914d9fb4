#include "players/avplayer/QMAVPlayerViewingTimeMetric.h"

#include <cmath>
#include <limits>

#include "logging/QMLogger.h"
#include "platform/QMFormat.h"
#include "platform/avfoundation/AVPlayer.h"

namespace {

constexpr double kTickSeconds = 0.25;
// A tick counts a second towards the current interval only in the second's latter half.
constexpr int32_t kCurrentSecondThresholdMillis = 501;

// Truncation towards zero to 32 bits as the device's processor does it: saturating at the
// limits, NaN giving 0 (a plain cast would be undefined there).
int32_t truncatedToInt32(double value) {
    if (std::isnan(value)) {
        return 0;
    }
    if (value >= static_cast<double>(std::numeric_limits<int32_t>::max())) {
        return std::numeric_limits<int32_t>::max();
    }
    if (value <= static_cast<double>(std::numeric_limits<int32_t>::min())) {
        return std::numeric_limits<int32_t>::min();
    }
    return static_cast<int32_t>(value);
}

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
    const std::string key = QMFormat("%i", truncatedToInt32(seconds));
    totalViewedTimeMap_.insert(key);
    if (truncatedToInt32(seconds * 1000.0) % 1000 >= kCurrentSecondThresholdMillis) {
        currentViewedTimeMap_.insert(key);
    }
}

int32_t QMAVPlayerViewingTimeMetric::getTotalViewingTime() const {
    return static_cast<int32_t>(totalViewedTimeMap_.size()) * 1000;
}

int32_t QMAVPlayerViewingTimeMetric::getCurrentViewingTime() const {
    return static_cast<int32_t>(currentViewedTimeMap_.size()) * 1000;
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
    currentViewedTimeMap_ = ViewedTimeMap();
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
