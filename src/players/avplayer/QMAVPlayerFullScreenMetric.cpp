#include "players/avplayer/QMAVPlayerFullScreenMetric.h"

#include "platform/QMFormat.h"

const std::string& QMAVPlayerFullScreenMetric::STATE_FULL_SCREEN() {
    static const std::string name = "fullScreenAndPlaying";
    return name;
}

const std::string& QMAVPlayerFullScreenMetric::STATE_CURRENT_INTERVAL_FULL_SCREEN() {
    static const std::string name = "currentFullScreenAndPlaying";
    return name;
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

void QMAVPlayerFullScreenMetric::handleUnpause() {
    isPlaying_ = true;
    if (!isBuffering_ && isFullScreen_) {
        enterFullScreen();
    }
}

void QMAVPlayerFullScreenMetric::handlePause() {
    isPlaying_ = false;
    leaveFullScreen();
}

void QMAVPlayerFullScreenMetric::handlePlayback() {
    isBuffering_ = false;
    if (isPlaying_ && isFullScreen_) {
        enterFullScreen();
    }
}

void QMAVPlayerFullScreenMetric::handleBuffering() {
    isBuffering_ = true;
    if (isPlaying_) {
        leaveFullScreen();
    }
}

void QMAVPlayerFullScreenMetric::onSizeChanged(bool isFullScreen) {
    isFullScreen_ = isFullScreen;
    if (!isFullScreen) {
        leaveFullScreen();
    } else if (isPlaying_ && !isBuffering_) {
        enterFullScreen();
    }
}

bool QMAVPlayerFullScreenMetric::canCollectMetric() { return true; }

std::optional<QMJSON> QMAVPlayerFullScreenMetric::calculateMetric() {
    QMJSON result = QMJSON::object();
    if (isFullScreenPlaying() && lastEnteredIsFullScreen()) {
        exitStateWithName(STATE_CURRENT_INTERVAL_FULL_SCREEN());
    }
    if (auto state = loadState(STATE_FULL_SCREEN())) {
        result[PROPERTY_TOTAL_FULL_SCREEN_TIME()] = QMFormat("%lld", state->getStateTotalTime());
    }
    if (auto state = loadState(STATE_CURRENT_INTERVAL_FULL_SCREEN())) {
        result[PROPERTY_CURRENT_FULL_SCREEN_TIME()] = QMFormat("%lld", state->getStateTotalTime());
    }
    return result;
}

void QMAVPlayerFullScreenMetric::afterMetricCollected() {
    QMAVPlayerPlayingStateMetric::afterMetricCollected();
    if (loadState(STATE_CURRENT_INTERVAL_FULL_SCREEN())) {
        clearHistory(STATE_CURRENT_INTERVAL_FULL_SCREEN());
    }
    if (isFullScreenPlaying()) {
        enterStateWithName(STATE_CURRENT_INTERVAL_FULL_SCREEN());
    }
}

bool QMAVPlayerFullScreenMetric::isFullScreenPlaying() const {
    return isPlaying_ && !isBuffering_ && isFullScreen_;
}

bool QMAVPlayerFullScreenMetric::lastEnteredIsFullScreen() const {
    const auto last = lastActiveState();
    return last &&
           (last->name() == STATE_FULL_SCREEN() || last->name() == STATE_CURRENT_INTERVAL_FULL_SCREEN());
}

void QMAVPlayerFullScreenMetric::enterFullScreen() {
    enterStateWithName(STATE_FULL_SCREEN());
    enterStateWithName(STATE_CURRENT_INTERVAL_FULL_SCREEN());
}

void QMAVPlayerFullScreenMetric::leaveFullScreen() {
    if (lastEnteredIsFullScreen()) {
        exitStateWithName(STATE_FULL_SCREEN());
        exitStateWithName(STATE_CURRENT_INTERVAL_FULL_SCREEN());
    }
}
