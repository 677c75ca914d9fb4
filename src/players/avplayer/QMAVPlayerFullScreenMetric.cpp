#include "players/avplayer/QMAVPlayerFullScreenMetric.h"

namespace veyrakit {

const std::string& QMAVPlayerFullScreenMetric::STATE_FULL_SCREEN() {
    return QMFullScreenPlayingState::STATE_FULL_SCREEN();
}

const std::string& QMAVPlayerFullScreenMetric::STATE_CURRENT_INTERVAL_FULL_SCREEN() {
    return QMFullScreenPlayingState::STATE_CURRENT_INTERVAL_FULL_SCREEN();
}

void QMAVPlayerFullScreenMetric::startMetricCollection() {
    observePlayer();
    takePlayerCondition();
}

void QMAVPlayerFullScreenMetric::stopMetricCollection() {
    QMAVPlayerPlayingStateMetric::stopMetricCollection();
    stopObservingPlayer();
}

void QMAVPlayerFullScreenMetric::observeValueForKeyPath(const std::string& keyPath, QMObject* object,
                                                        const QMKeyValueChange& change, void* context) {
    dispatchPlayerChange(keyPath, object, context);
}

void QMAVPlayerFullScreenMetric::handleUnpause() { fullScreen_.handleUnpause(); }

void QMAVPlayerFullScreenMetric::handlePause() { fullScreen_.handlePause(); }

void QMAVPlayerFullScreenMetric::handlePlayback() { fullScreen_.handlePlayback(); }

void QMAVPlayerFullScreenMetric::handleBuffering() { fullScreen_.handleBuffering(); }

void QMAVPlayerFullScreenMetric::onSizeChanged(bool isFullScreen) { fullScreen_.onSizeChanged(isFullScreen); }

bool QMAVPlayerFullScreenMetric::canCollectMetric() { return true; }

std::optional<QMJSON> QMAVPlayerFullScreenMetric::calculateMetric() { return fullScreen_.calculateMetric(); }

void QMAVPlayerFullScreenMetric::afterMetricCollected() {
    QMAVPlayerPlayingStateMetric::afterMetricCollected();
    fullScreen_.afterMetricCollected();
}

}  // namespace veyrakit
