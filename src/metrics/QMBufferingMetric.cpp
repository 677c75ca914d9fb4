#include "metrics/QMBufferingMetric.h"

#include "platform/QMFormat.h"

namespace veyrakit {

const std::string& QMBufferingMetric::STATE_BUFFERING() {
    static const std::string name = "buffering";
    return name;
}

const std::string& QMBufferingMetric::STATE_CURRENT_BUFFERING() {
    static const std::string name = "currentBuffering";
    return name;
}

const std::string& QMBufferingMetric::STATE_CURRENT_INTERVAL_BUFFERING() {
    static const std::string name = "currentIntervalBuffering";
    return name;
}

void QMBufferingMetric::handleBuffering() {
    enterStateWithName(STATE_BUFFERING());
    enterStateWithName(STATE_CURRENT_BUFFERING());
    enterStateWithName(STATE_CURRENT_INTERVAL_BUFFERING());
    isInBufferingMode_ = true;
}

void QMBufferingMetric::handlePlayback() {
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

void QMBufferingMetric::clearBuffersBeforeJoinTime() {
    for (const auto* name :
         {&STATE_CURRENT_BUFFERING(), &STATE_CURRENT_INTERVAL_BUFFERING(), &STATE_BUFFERING()}) {
        if (loadState(*name)) {
            clearHistory(*name);
        }
    }
}

void QMBufferingMetric::onMediaError() {
    exitStateWithName(STATE_BUFFERING());
    exitStateWithName(STATE_CURRENT_BUFFERING());
    exitStateWithName(STATE_CURRENT_INTERVAL_BUFFERING());
    isInBufferingMode_ = false;
}

bool QMBufferingMetric::canCollectMetric() { return true; }

std::optional<QMJSON> QMBufferingMetric::calculateMetric() {
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
        result[currentBufferingKey()] = QMFormat("%lld", state->getStateTotalTime());
    }
    if (auto state = loadState(STATE_CURRENT_INTERVAL_BUFFERING())) {
        result[PROPERTY_CURRENT_BUFFER_TIME()] = QMFormat("%lld", state->getStateTotalTime());
    }
    return result;
}

void QMBufferingMetric::afterMetricCollected() {
    // An event in progress stays open in "currentBuffering" and goes on counting from its start.
    if (loadState(STATE_CURRENT_BUFFERING())) {
        clearHistory(STATE_CURRENT_BUFFERING());
    }
    if (loadState(STATE_CURRENT_INTERVAL_BUFFERING())) {
        clearHistory(STATE_CURRENT_INTERVAL_BUFFERING());
    }
    if (isInBufferingMode_ && reopensIntervalAfterReport()) {
        enterStateWithName(STATE_CURRENT_INTERVAL_BUFFERING());
    }
}

}  // namespace veyrakit
