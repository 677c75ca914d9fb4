#include "metrics/QMFullScreenPlayingState.h"

#include "metrics/QMMetric.h"
#include "platform/QMFormat.h"

namespace veyrakit {

const std::string& QMFullScreenPlayingState::STATE_FULL_SCREEN() {
    static const std::string name = "fullScreenAndPlaying";
    return name;
}

const std::string& QMFullScreenPlayingState::STATE_CURRENT_INTERVAL_FULL_SCREEN() {
    static const std::string name = "currentFullScreenAndPlaying";
    return name;
}

QMFullScreenPlayingState::QMFullScreenPlayingState(QMStatefulMetric& metric) : metric_(metric) {}

void QMFullScreenPlayingState::handleUnpause() {
    isPlaying_ = true;
    if (!isBuffering_ && isFullScreen_) {
        enterFullScreen();
    }
}

void QMFullScreenPlayingState::handlePause() {
    isPlaying_ = false;
    leaveFullScreen();
}

void QMFullScreenPlayingState::handlePlayback() {
    isBuffering_ = false;
    if (isPlaying_ && isFullScreen_) {
        enterFullScreen();
    }
}

void QMFullScreenPlayingState::handleBuffering() {
    isBuffering_ = true;
    if (isPlaying_) {
        leaveFullScreen();
    }
}

void QMFullScreenPlayingState::onSizeChanged(bool isFullScreen) {
    isFullScreen_ = isFullScreen;
    if (!isFullScreen) {
        leaveFullScreen();
    } else if (isPlaying_ && !isBuffering_) {
        enterFullScreen();
    }
}

QMJSON QMFullScreenPlayingState::calculateMetric() {
    QMJSON result = QMJSON::object();
    if (isFullScreenPlaying() && lastEnteredIsFullScreen()) {
        metric_.exitStateWithName(STATE_CURRENT_INTERVAL_FULL_SCREEN());
    }
    if (auto state = metric_.loadState(STATE_FULL_SCREEN())) {
        result[QMMetric::PROPERTY_TOTAL_FULL_SCREEN_TIME()] = QMFormat("%lld", state->getStateTotalTime());
    }
    if (auto state = metric_.loadState(STATE_CURRENT_INTERVAL_FULL_SCREEN())) {
        result[QMMetric::PROPERTY_CURRENT_FULL_SCREEN_TIME()] = QMFormat("%lld", state->getStateTotalTime());
    }
    return result;
}

void QMFullScreenPlayingState::afterMetricCollected() {
    if (metric_.loadState(STATE_CURRENT_INTERVAL_FULL_SCREEN())) {
        metric_.clearHistory(STATE_CURRENT_INTERVAL_FULL_SCREEN());
    }
    if (isFullScreenPlaying()) {
        metric_.enterStateWithName(STATE_CURRENT_INTERVAL_FULL_SCREEN());
    }
}

bool QMFullScreenPlayingState::isFullScreenPlaying() const {
    return isPlaying_ && !isBuffering_ && isFullScreen_;
}

bool QMFullScreenPlayingState::lastEnteredIsFullScreen() const {
    const auto last = metric_.lastActiveState();
    return last &&
           (last->name() == STATE_FULL_SCREEN() || last->name() == STATE_CURRENT_INTERVAL_FULL_SCREEN());
}

void QMFullScreenPlayingState::enterFullScreen() {
    metric_.enterStateWithName(STATE_FULL_SCREEN());
    metric_.enterStateWithName(STATE_CURRENT_INTERVAL_FULL_SCREEN());
}

void QMFullScreenPlayingState::leaveFullScreen() {
    if (lastEnteredIsFullScreen()) {
        metric_.exitStateWithName(STATE_FULL_SCREEN());
        metric_.exitStateWithName(STATE_CURRENT_INTERVAL_FULL_SCREEN());
    }
}

}  // namespace veyrakit
