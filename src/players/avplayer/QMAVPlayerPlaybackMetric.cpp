#include "players/avplayer/QMAVPlayerPlaybackMetric.h"

#include <exception>

#include "core/QMVeyraPlugin.h"
#include "logging/QMLogger.h"
#include "platform/QMConsole.h"
#include "platform/QMFormat.h"
#include "veyrakit/platform/QMTimer.h"
#include "reporting/QMPeriodicalReporter.h"
#include "reporting/QMReportType.h"
#include "veyrakit/platform/avfoundation/AVPlayer.h"
#include "veyrakit/platform/avfoundation/AVPlayerItemNotifications.h"

namespace veyrakit {

QMAVPlayerPlaybackMetric::QMAVPlayerPlaybackMetric() {
    if (const auto& item = player_ ? player_->currentItem() : nullptr) {
        item->addObserver(this, "duration", NSKeyValueObservingOptionNew, nullptr);
    }
}

void QMAVPlayerPlaybackMetric::startMetricCollection() {
    // The centre does not own its observers: the handler holds the metric only while it runs.
    std::weak_ptr<QMAVPlayerPlaybackMetric> weakSelf = selfAs<QMAVPlayerPlaybackMetric>();
    QMNotificationCenter::defaultCenter()->addObserver(this, AVPlayerItemDidPlayToEndTimeNotification,
                                                       player_ ? player_->currentItem().get() : nullptr,
                                                       [weakSelf](const QMNotification& notification) {
                                                           if (auto self = weakSelf.lock()) {
                                                               self->itemDidFinishPlaying(&notification);
                                                           }
                                                       });
}

void QMAVPlayerPlaybackMetric::stopMetricCollection() {
    QMAVPlayerStatelessMetric::stopMetricCollection();
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

std::optional<QMJSON> QMAVPlayerPlaybackMetric::calculateMetric() {
    const auto& item = player_ ? player_->currentItem() : nullptr;
    const bool bufferEmpty = item && item->isPlaybackBufferEmpty();
    const bool playing = player_ && player_->rate() > 0 && !player_->error() && !bufferEmpty;
    QMJSON result = QMJSON::object();
    result[PROPERTY_PLAYING()] = playing ? 1 : 0;
    result[PROPERTY_ASSET_DURATION()] = QMFormat("%d", assetDuration_);
    if (isPlaybackFinished_) {
        result[PROPERTY_PLAYBACK_COMPLETED()] = true;
    }
    return result;
}

void QMAVPlayerPlaybackMetric::observeValueForKeyPath(const std::string& keyPath, QMObject* object,
                                                      const QMKeyValueChange& change, void* context) {
    QMAVPlayerStatelessMetric::observeValueForKeyPath(keyPath, object, change, context);
    if (keyPath == "duration") {
        onDurationChangeEvent();
    }
}

void QMAVPlayerPlaybackMetric::onReporterReady() {
    if (unsentDurationReport_) {
        sendOnDemandReport(*unsentDurationReport_, "DR");
        unsentDurationReport_.reset();
    }
}

void QMAVPlayerPlaybackMetric::onDurationChangeEvent() {
    if (durationIsCalculated_) {
        return;
    }
    durationIsCalculated_ = true;
    const auto& item = player_ ? player_->currentItem() : nullptr;
    assetDuration_ = wholeSeconds(CMTimeGetSeconds(item ? item->duration() : kCMTimeZero));
    QMJSON report{{"type", QMReportType::PLAYBACK_DURATION()}, {"duration", QMFormat("%d", assetDuration_)}};
    if (hasSessionId()) {
        sendOnDemandReport(report, "DR");
    } else {
        unsentDurationReport_ = std::move(report);
    }
}

void QMAVPlayerPlaybackMetric::itemDidFinishPlaying(const QMNotification*) {
    isPlaybackFinished_ = true;
    onPlaybackCompleted();
}

void QMAVPlayerPlaybackMetric::onPlaybackCompleted() {
    if (unScheduledPeriodicalSent_ || !isActive_) {
        return;
    }
    unScheduledPeriodicalSent_ = true;
    QMLogger::info("playback completed. Last P", "T");
    // The destroy that follows the last report releases this metric: stay alive to the end.
    auto self = weak_from_this().lock();
    if (auto reporter = plugin_ ? plugin_->periodicalReporter() : nullptr) {
        reporter->sendUnscheduledPeriodical(true);
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

void QMAVPlayerPlaybackMetric::pauseMetricCollection() { isActive_ = false; }

void QMAVPlayerPlaybackMetric::resumeMetricCollection() { isActive_ = true; }

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

}  // namespace veyrakit
