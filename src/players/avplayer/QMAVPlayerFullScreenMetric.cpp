#include "players/avplayer/QMAVPlayerFullScreenMetric.h"

#include <cmath>

#include "core/QMObjectRepository.h"
#include "platform/QMFormat.h"
#include "platform/avfoundation/AVPlayer.h"
#include "players/avplayer/QMAVPlayerVeyraPlugin.h"

namespace {
const char* const kItemKeyPaths[] = {"playbackBufferEmpty", "playbackLikelyToKeepUp", "playbackBufferFull"};
}  // namespace

const std::string& QMAVPlayerFullScreenMetric::STATE_FULL_SCREEN() {
    static const std::string name = "fullScreenAndPlaying";
    return name;
}

const std::string& QMAVPlayerFullScreenMetric::STATE_CURRENT_INTERVAL_FULL_SCREEN() {
    static const std::string name = "currentFullScreenAndPlaying";
    return name;
}

QMAVPlayerFullScreenMetric::QMAVPlayerFullScreenMetric() {
    auto plugin = std::dynamic_pointer_cast<QMAVPlayerVeyraPlugin>(QMObjectRepository::getRepositoryInstance()->plugin());
    player_ = plugin ? plugin->player() : nullptr;
}

void QMAVPlayerFullScreenMetric::startMetricCollection() {
    if (!player_) {
        return;
    }
    if (const auto& item = player_->currentItem()) {
        for (const char* keyPath : kItemKeyPaths) {
            item->addObserver(this, keyPath, NSKeyValueObservingOptionNew, nullptr);
        }
    }
    player_->addObserver(this, "rate", NSKeyValueObservingOptionNew, &kRateDidChangeKVO);
    const auto& item = player_->currentItem();
    if (item && item->isPlaybackBufferEmpty()) {
        handleBuffering();
    }
    if (player_->rate() > 0.0f) {
        handleUnpause();
    }
}

void QMAVPlayerFullScreenMetric::stopMetricCollection() {
    QMStatefulMetric::stopMetricCollection();
    if (!player_) {
        return;
    }
    if (const auto& item = player_->currentItem()) {
        for (const char* keyPath : kItemKeyPaths) {
            item->removeObserver(this, keyPath);
        }
    }
    player_->removeObserver(this, "rate", &kRateDidChangeKVO);
}

void QMAVPlayerFullScreenMetric::observeValueForKeyPath(const std::string& keyPath, QMObject* object,
                                                        const QMKeyValueChange& change, void* context) {
    const auto& item = player_ ? player_->currentItem() : nullptr;
    const bool fromItem = item && object == item.get();
    if (fromItem && keyPath == "playbackBufferEmpty") {
        if (item->isPlaybackBufferEmpty()) {
            handleBuffering();
        }
    } else if (fromItem && (keyPath == "playbackLikelyToKeepUp" || keyPath == "playbackBufferFull")) {
        if (item->isPlaybackLikelyToKeepUp() || item->isPlaybackBufferFull()) {
            handlePlayback();
        }
    }
    if (context == &kRateDidChangeKVO) {
        // A NaN rate counts as playing: it is not equal to zero.
        if (player_->rate() != 0.0f) {
            handleUnpause();
        } else {
            handlePause();
        }
    }
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
    QMStatefulMetric::afterMetricCollected();
    if (loadState(STATE_CURRENT_INTERVAL_FULL_SCREEN())) {
        clearHistory(STATE_CURRENT_INTERVAL_FULL_SCREEN());
    }
    if (isFullScreenPlaying()) {
        enterStateWithName(STATE_CURRENT_INTERVAL_FULL_SCREEN());
    }
}

bool QMAVPlayerFullScreenMetric::isFullScreenPlaying() const { return isPlaying_ && !isBuffering_ && isFullScreen_; }

bool QMAVPlayerFullScreenMetric::lastEnteredIsFullScreen() const {
    const auto last = lastActiveState();
    return last && (last->name() == STATE_FULL_SCREEN() || last->name() == STATE_CURRENT_INTERVAL_FULL_SCREEN());
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
