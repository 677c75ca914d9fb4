#include "players/avplayer/QMAVPlayerBufferingMetric.h"

#include "veyrakit/platform/avfoundation/AVPlayer.h"

namespace veyrakit {

namespace {
const char* const kItemKeyPaths[] = {"status", "playbackBufferEmpty", "playbackLikelyToKeepUp",
                                     "playbackBufferFull"};
}  // namespace

void QMAVPlayerBufferingMetric::startMetricCollection() {
    const auto& item = player_ ? player_->currentItem() : nullptr;
    if (!item) {
        return;
    }
    for (const char* keyPath : kItemKeyPaths) {
        item->addObserver(this, keyPath, NSKeyValueObservingOptionNew, nullptr);
    }
    if (item->isPlaybackBufferEmpty()) {
        handleBuffering();
    } else if (item->isPlaybackLikelyToKeepUp()) {
        handlePlayback();
    }
}

void QMAVPlayerBufferingMetric::stopMetricCollection() {
    QMPluginBufferingMetric::stopMetricCollection();
    if (const auto& item = player_ ? player_->currentItem() : nullptr) {
        for (const char* keyPath : kItemKeyPaths) {
            item->removeObserver(this, keyPath);
        }
    }
    stopObservingSessionIdOnce();
}

void QMAVPlayerBufferingMetric::observeValueForKeyPath(const std::string& keyPath, QMObject* object,
                                                       const QMKeyValueChange& change, void* context) {
    // Each test reads the current item anew: a handler may have replaced it.
    auto isCurrentItem = [this, object] {
        return player_ && player_->currentItem() && object == player_->currentItem().get();
    };
    if (isCurrentItem() && keyPath == "status" &&
        player_->currentItem()->status() == AVPlayerItemStatusFailed) {
        onMediaError();
    }
    if (isCurrentItem() && keyPath == "playbackBufferEmpty" &&
        player_->currentItem()->isPlaybackBufferEmpty()) {
        handleBuffering();
    }
    if (isCurrentItem() && (keyPath == "playbackLikelyToKeepUp" || keyPath == "playbackBufferFull") &&
        player_->currentItem()->isPlaybackLikelyToKeepUp()) {
        handlePlayback();
    }
    QMPluginBufferingMetric::observeValueForKeyPath(keyPath, object, change, context);
}

const std::string& QMAVPlayerBufferingMetric::currentBufferingKey() const {
    return PROPERTY_BUFFERING_TIME_LEADING_TO_NOW();
}

bool QMAVPlayerBufferingMetric::reopensIntervalAfterReport() const { return isActive_; }

}  // namespace veyrakit
