#include "metrics/QMMetric.h"

#include "platform/QMException.h"
#include "platform/QMFormat.h"

namespace veyrakit {

#define QM_METRIC_NAME(operation, value)       \
    const std::string& QMMetric::operation() { \
        static const std::string name = value; \
        return name;                           \
    }

QM_METRIC_NAME(PROPERTY_CURRENT_BUFFER_TIME, "currentBufferingTime")
QM_METRIC_NAME(PROPERTY_BUFFERING_TIME_LEADING_TO_NOW, "bufferingTimeLeadingToNow")
QM_METRIC_NAME(PROPERTY_TOTAL_BUFFER_TIME, "totalBufferingTime")
QM_METRIC_NAME(PROPERTY_JOIN_TIME, "joinTime")
QM_METRIC_NAME(PROPERTY_BIT_RATE, "currentBitRate")
QM_METRIC_NAME(PROPERTY_FRAME_RATE, "currentFrameRate")
QM_METRIC_NAME(PROPERTY_PLAYING, "playing")
QM_METRIC_NAME(PROPERTY_PLAYBACK_COMPLETED, "playbackCompleted")
QM_METRIC_NAME(PROPERTY_TOTAL_PLAYING_TIME, "totalPlayingTime")
QM_METRIC_NAME(PROPERTY_CURRENT_PLAYING_TIME, "currentPlayingTime")
QM_METRIC_NAME(PROPERTY_TOTAL_VIEWED_TIME, "totalViewedTime")
QM_METRIC_NAME(PROPERTY_CURRENT_VIEWED_TIME, "currentViewedTime")
QM_METRIC_NAME(PROPERTY_TOTAL_FULL_SCREEN_TIME, "totalFullScreenTime")
QM_METRIC_NAME(PROPERTY_CURRENT_FULL_SCREEN_TIME, "currentFullScreenTime")
QM_METRIC_NAME(PROPERTY_AVAILABLE_BITRATES, "bitrates")
QM_METRIC_NAME(PROPERTY_ASSET_DURATION, "assetDuration")
QM_METRIC_NAME(PROPERTY_CURRENT_ELAPSED_TIME, "currentElapsedTime")
QM_METRIC_NAME(PROPERTY_TOTAL_ELAPSED_TIME, "totalElapsedTime")
QM_METRIC_NAME(PROPERTY_PERIOD_DURATION, "periodDuration")
QM_METRIC_NAME(PROPERTY_ALIVE, "alive")

#undef QM_METRIC_NAME

const std::map<std::string, std::string>& QMMetric::ABR_PROPERTY_MAP() {
    // Besides the metric values, three report fields have short keys of their own.
    static const std::map<std::string, std::string> map = {
        {PROPERTY_CURRENT_BUFFER_TIME(), "CBF"},
        {PROPERTY_BUFFERING_TIME_LEADING_TO_NOW(), "BFTN"},
        {PROPERTY_TOTAL_BUFFER_TIME(), "TBF"},
        {PROPERTY_JOIN_TIME(), "JT"},
        {PROPERTY_BIT_RATE(), "CBR"},
        {PROPERTY_FRAME_RATE(), "CFR"},
        {PROPERTY_PLAYING(), "P"},
        {PROPERTY_PLAYBACK_COMPLETED(), "PC"},
        {PROPERTY_TOTAL_PLAYING_TIME(), "TPT"},
        {PROPERTY_CURRENT_PLAYING_TIME(), "CPT"},
        {PROPERTY_TOTAL_VIEWED_TIME(), "TVT"},
        {PROPERTY_CURRENT_VIEWED_TIME(), "CVT"},
        {PROPERTY_CURRENT_FULL_SCREEN_TIME(), "CFT"},
        {PROPERTY_TOTAL_FULL_SCREEN_TIME(), "TFT"},
        {"pulseNumber", "PLS"},
        {"periodicalNumber", "PRD"},
        {"duration", "D"},
        {PROPERTY_AVAILABLE_BITRATES(), "BRs"},
    };
    return map;
}

void QMMetric::startMetricCollection() {}

void QMMetric::stopMetricCollection() {}

bool QMMetric::canCollectMetric() { mustOverride("canCollectMetric"); }

std::optional<QMJSON> QMMetric::collectMetric() {
    std::optional<QMJSON> values = calculateMetric();
    afterMetricCollected();
    return values;
}

void QMMetric::afterMetricCollected() {}

std::optional<QMJSON> QMMetric::calculateMetric() { mustOverride("calculateMetric"); }

void QMMetric::mustOverride(const std::string& operation) {
    throw QMInternalInconsistencyException(QMFormat("You must override %@ in a subclass", operation));
}

}  // namespace veyrakit
