#include "players/avplayer/QMAVPlayerBufferingMetric.h"

#include "core/QMObjectRepository.h"
#include "logging/QMLogger.h"
#include "platform/avfoundation/AVPlayer.h"
#include "players/avplayer/QMAVPlayerVeyraPlugin.h"
#include "reporting/QMOnDemandReporter.h"
#include "reporting/QMReportType.h"

namespace {
const char* const kItemKeyPaths[] = {"status", "playbackBufferEmpty", "playbackLikelyToKeepUp",
                                     "playbackBufferFull"};
}  // namespace

QMAVPlayerBufferingMetric::QMAVPlayerBufferingMetric()
    : plugin_(QMObjectRepository::getRepositoryInstance()->plugin()) {
    auto avPlugin = std::dynamic_pointer_cast<QMAVPlayerVeyraPlugin>(plugin_);
    player_ = avPlugin ? avPlugin->player() : nullptr;
    if (plugin_) {
        plugin_->addObserver(this, "sessionId", NSKeyValueObservingOptionNew, nullptr);
    }
}

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
    QMStatefulMetric::stopMetricCollection();
    if (const auto& item = player_ ? player_->currentItem() : nullptr) {
        for (const char* keyPath : kItemKeyPaths) {
            item->removeObserver(this, keyPath);
        }
    }
    if (!removeSessionId_) {
        stopObservingSessionId();
    }
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
    if (keyPath == "sessionId" && plugin_ && plugin_->sessionId()) {
        stopObservingSessionId();
        onReporterReady();
    }
}

void QMAVPlayerBufferingMetric::makeJoinTimeOnDemandRequest(int64_t joinTime) {
    QMJSON report = QMJSON::object();
    report["type"] = QMReportType::JOIN_TIME();
    report[PROPERTY_JOIN_TIME()] = joinTime;
    if (plugin_ && plugin_->sessionId()) {
        sendJoinTimeReport(report);
    } else {
        unsentJoinTimeReport_ = report;
    }
}

void QMAVPlayerBufferingMetric::onReporterReady() {
    if (unsentJoinTimeReport_) {
        sendJoinTimeReport(*unsentJoinTimeReport_);
        unsentJoinTimeReport_.reset();
    }
}

const std::string& QMAVPlayerBufferingMetric::currentBufferingKey() const {
    return PROPERTY_BUFFERING_TIME_LEADING_TO_NOW();
}

bool QMAVPlayerBufferingMetric::reopensIntervalAfterReport() const { return isActive_; }

void QMAVPlayerBufferingMetric::pauseMetricCollection() { isActive_ = false; }

void QMAVPlayerBufferingMetric::resumeMetricCollection() { isActive_ = true; }

void QMAVPlayerBufferingMetric::sendJoinTimeReport(const QMJSON& report) {
    if (auto reporter = plugin_ ? plugin_->onDemandReporter() : nullptr) {
        reporter->sendOnDemandReport(
            report, [](const std::optional<QMJSON>&) { QMLogger::info("", "JR"); }, nullptr);
    }
}

void QMAVPlayerBufferingMetric::stopObservingSessionId() {
    removeSessionId_ = true;
    if (plugin_) {
        plugin_->removeObserver(this, "sessionId");
    }
}
