#include "players/avplayer/QMAVPlayerPlayingStateMetric.h"

#include "veyrakit/platform/avfoundation/AVPlayer.h"

namespace veyrakit {

namespace {
const char* const kItemKeyPaths[] = {"playbackBufferEmpty", "playbackLikelyToKeepUp", "playbackBufferFull"};
}  // namespace

void QMAVPlayerPlayingStateMetric::observePlayer() {
    if (!player_) {
        return;
    }
    if (const auto& item = player_->currentItem()) {
        for (const char* keyPath : kItemKeyPaths) {
            item->addObserver(this, keyPath, NSKeyValueObservingOptionNew, nullptr);
        }
    }
    player_->addObserver(this, "rate", NSKeyValueObservingOptionNew, &kRateDidChangeKVO);
}

void QMAVPlayerPlayingStateMetric::stopObservingPlayer() {
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

void QMAVPlayerPlayingStateMetric::takePlayerCondition() {
    if (!player_) {
        return;
    }
    const auto& item = player_->currentItem();
    if (item && item->isPlaybackBufferEmpty()) {
        handleBuffering();
    }
    if (player_->rate() > 0.0f) {
        handleUnpause();
    }
}

void QMAVPlayerPlayingStateMetric::observeValueForKeyPath(const std::string& keyPath, QMObject* object,
                                                          const QMKeyValueChange&, void* context) {
    dispatchPlayerChange(keyPath, object, context);
}

void QMAVPlayerPlayingStateMetric::dispatchPlayerChange(const std::string& keyPath, QMObject* object,
                                                        void* context) {
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
        if (player_->rate() != 0.0f) {
            handleUnpause();
        } else {
            handlePause();
        }
    }
}

}  // namespace veyrakit
