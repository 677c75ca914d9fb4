#include "players/avplayer/QMAVPlayerBufferingMetric.h"

#include "core/QMObjectRepository.h"
#include "logging/QMLogger.h"
#include "platform/QMFormat.h"
#include "platform/avfoundation/AVPlayer.h"
#include "players/avplayer/QMAVPlayerVeyraPlugin.h"
#include "reporting/QMOnDemandReporter.h"
#include "reporting/QMReportType.h"

namespace {
const char* const kItemKeyPaths[] = {"status", "playbackBufferEmpty", "playbackLikelyToKeepUp",
                                     "playbackBufferFull"};
}  // namespace

const std::string& QMAVPlayerBufferingMetric::STATE_BUFFERING() {
    static const std::string name = "buffering";
    return name;
}

const std::string& QMAVPlayerBufferingMetric::STATE_CURRENT_BUFFERING() {
    static const std::string name = "currentBuffering";
    return name;
}

const std::string& QMAVPlayerBufferingMetric::STATE_CURRENT_INTERVAL_BUFFERING() {
    static const std::string name = "currentIntervalBuffering";
    return name;
}

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

void QMAVPlayerBufferingMetric::handleBuffering() {
    enterStateWithName(STATE_BUFFERING());
    enterStateWithName(STATE_CURRENT_BUFFERING());
    enterStateWithName(STATE_CURRENT_INTERVAL_BUFFERING());
    isInBufferingMode_ = true;
}

void QMAVPlayerBufferingMetric::handlePlayback() {
    // A state that exists but is closed is exited all the same: a repeated playback event logs
    // one "exit from state that not enter" line per state.
    for (const auto* name :
         {&STATE_BUFFERING(), &STATE_CURRENT_BUFFERING(), &STATE_CURRENT_INTERVAL_BUFFERING()}) {
        if (loadState(*name)) {
            exitStateWithName(*name);
        }
    }
    isInBufferingMode_ = false;
    if (viewerJoinedYet_) {
        return;
    }
    viewerJoinedYet_ = true;
    auto buffering = loadState(STATE_BUFFERING());
    viewerJoinTime_ = buffering ? buffering->getStateTotalTime() : 0;
    // The wait before the join counts in the join time only, never in the buffering totals.
    clearBuffersBeforeJoinTime();
    makeJoinTimeOnDemandRequest(viewerJoinTime_);
}

void QMAVPlayerBufferingMetric::clearBuffersBeforeJoinTime() {
    for (const auto* name :
         {&STATE_CURRENT_BUFFERING(), &STATE_CURRENT_INTERVAL_BUFFERING(), &STATE_BUFFERING()}) {
        if (loadState(*name)) {
            clearHistory(*name);
        }
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

void QMAVPlayerBufferingMetric::onMediaError() {
    exitStateWithName(STATE_BUFFERING());
    exitStateWithName(STATE_CURRENT_BUFFERING());
    exitStateWithName(STATE_CURRENT_INTERVAL_BUFFERING());
    isInBufferingMode_ = false;
}

bool QMAVPlayerBufferingMetric::canCollectMetric() { return true; }

std::optional<QMJSON> QMAVPlayerBufferingMetric::calculateMetric() {
    QMJSON result = QMJSON::object();
    if (!viewerJoinedYet_) {
        return result;
    }
    if (isInBufferingMode_) {
        // The interval's share of an event in progress ends at the report.
        exitStateWithName(STATE_CURRENT_INTERVAL_BUFFERING());
    }
    if (auto state = loadState(STATE_BUFFERING())) {
        result[PROPERTY_TOTAL_BUFFER_TIME()] = QMFormat("%lld", state->getStateTotalTime());
    }
    if (auto state = loadState(STATE_CURRENT_BUFFERING())) {
        result[PROPERTY_BUFFERING_TIME_LEADING_TO_NOW()] = QMFormat("%lld", state->getStateTotalTime());
    }
    if (auto state = loadState(STATE_CURRENT_INTERVAL_BUFFERING())) {
        result[PROPERTY_CURRENT_BUFFER_TIME()] = QMFormat("%lld", state->getStateTotalTime());
    }
    return result;
}

void QMAVPlayerBufferingMetric::afterMetricCollected() {
    // An event in progress stays open in "currentBuffering" and goes on counting from its start.
    if (loadState(STATE_CURRENT_BUFFERING())) {
        clearHistory(STATE_CURRENT_BUFFERING());
    }
    if (loadState(STATE_CURRENT_INTERVAL_BUFFERING())) {
        clearHistory(STATE_CURRENT_INTERVAL_BUFFERING());
    }
    if (isInBufferingMode_ && isActive_) {
        enterStateWithName(STATE_CURRENT_INTERVAL_BUFFERING());
    }
}

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
