#include "players/avplayer/QMAVPlayerViewingTimeMetric.h"

#include "logging/QMLogger.h"
#include "veyrakit/platform/avfoundation/AVPlayer.h"

namespace veyrakit {

void QMAVPlayerViewingTimeMetric::startSamplingPlayhead() {
    auto self = selfAs<QMAVPlayerViewingTimeMetric>();
    periodicalTimeObserver_ =
        player_->addPeriodicTimeObserverForInterval(CMTimeMakeWithSeconds(kTickSeconds, kCMTimeMaxTimescale),
                                                    nullptr, [self](CMTime) { self->onPlayerTimeChanged(); });
}

void QMAVPlayerViewingTimeMetric::takeStartingCondition() { takePlayerCondition(); }

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
    QMAVPlayerPlayingStateMetric::observeValueForKeyPath(keyPath, object, change, context);
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

std::optional<QMJSON> QMAVPlayerViewingTimeMetric::calculateMetric() {
    if (!isActive_) {
        if (!firstAds_) {
            firstAds_ = true;
            return resultBeforAds_;
        }
        return QMJSON::object();
    }
    return QMPlayerViewingTimeMetric::calculateMetric();
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

bool QMAVPlayerViewingTimeMetric::reopensPlayingInterval() const {
    return isLastActiveState(STATE_PLAYING()) && isInPlayingMode_ && isActive_;
}

}  // namespace veyrakit
