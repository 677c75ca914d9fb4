#include "players/avplayer/QMAVPlayerPlaybackMetric.h"

#include <exception>

#include "platform/QMConsole.h"
#include "players/common/QMWeakObservation.h"
#include "veyrakit/platform/QMTimer.h"
#include "veyrakit/platform/avfoundation/AVPlayer.h"
#include "veyrakit/platform/avfoundation/AVPlayerItemNotifications.h"

namespace veyrakit {

QMAVPlayerPlaybackMetric::QMAVPlayerPlaybackMetric() {
    if (const auto& item = player_ ? player_->currentItem() : nullptr) {
        item->addObserver(this, "duration", NSKeyValueObservingOptionNew, nullptr);
    }
}

void QMAVPlayerPlaybackMetric::startMetricCollection() {
    observeWhileAlive(*this, AVPlayerItemDidPlayToEndTimeNotification,
                      player_ ? player_->currentItem().get() : nullptr,
                      [](QMAVPlayerPlaybackMetric& self, const QMNotification& notification) {
                          self.itemDidFinishPlaying(&notification);
                      });
}

void QMAVPlayerPlaybackMetric::stopMetricCollection() {
    QMPlayerPlaybackMetric::stopMetricCollection();
    const auto& item = player_ ? player_->currentItem() : nullptr;
    if (item) {
        item->removeObserver(this, "duration");
    }
    QMNotificationCenter::defaultCenter()->removeObserver(this, AVPlayerItemDidPlayToEndTimeNotification,
                                                          item.get());
    if (timer_) {
        timer_->invalidate();
    }
}

void QMAVPlayerPlaybackMetric::observeValueForKeyPath(const std::string& keyPath, QMObject* object,
                                                      const QMKeyValueChange& change, void* context) {
    QMPlayerPlaybackMetric::observeValueForKeyPath(keyPath, object, change, context);
    if (keyPath == "duration") {
        onDurationChangeEvent();
    }
}

void QMAVPlayerPlaybackMetric::stopPlayback() {
    isPlaybackFinished_ = true;
    try {
        onPlaybackCompleted();
    } catch (const std::exception& e) {
        QMConsoleLog("stop playback error : %@", std::string(e.what()));
    }
}

void QMAVPlayerPlaybackMetric::itemDidFailedPlaying(const QMNotification*) {
    QMLogger::info("itemDidFailedPlaying event fire.", "SV");
    isPlaybackFinished_ = true;
    onPlaybackCompleted();
}

void QMAVPlayerPlaybackMetric::monitorVideoPlayStatus() {
    if (player_ && player_->rate() != 0 && !player_->error()) {
        QMConsoleLog("player is playing");
        return;
    }
    QMConsoleLog("player is NOT playing");
    if (timer_) {
        timer_->invalidate();
    }
    itemDidFinishPlaying(nullptr);
}

QMJSON QMAVPlayerPlaybackMetric::playingValue() const {
    const auto& item = player_ ? player_->currentItem() : nullptr;
    const bool bufferEmpty = item && item->isPlaybackBufferEmpty();
    const bool playing = player_ && player_->rate() > 0 && !player_->error() && !bufferEmpty;
    return playing ? 1 : 0;
}

double QMAVPlayerPlaybackMetric::durationSeconds() const {
    const auto& item = player_ ? player_->currentItem() : nullptr;
    return CMTimeGetSeconds(item ? item->duration() : kCMTimeZero);
}

bool QMAVPlayerPlaybackMetric::claimsCompletion() {
    if (unScheduledPeriodicalSent_ || !isActive_) {
        return false;
    }
    unScheduledPeriodicalSent_ = true;
    return true;
}

}  // namespace veyrakit
