#include "metrics/QMElapsedTimeMetric.h"

#include "platform/QMFormat.h"
#include "veyrakit/VeyraKitGlobals.h"
#include "veyrakit/platform/QMTimer.h"

namespace veyrakit {

namespace {
constexpr double kAliveIntervalSeconds = 60.0;
}  // namespace

const std::string& QMElapsedTimeMetric::STATE_TOTAL_ELAPSED() {
    static const std::string name = "totalElapsed";
    return name;
}

const std::string& QMElapsedTimeMetric::STATE_CURRENT_ELAPSED() {
    static const std::string name = "currentElapsed";
    return name;
}

void QMElapsedTimeMetric::startMetricCollection() {
    alive_ = true;
    // A second start replaces the timer without invalidating the first one, which goes on
    // raising the flag: starting twice is not guarded against.
    auto self = selfAs<QMElapsedTimeMetric>();
    timer_ = QMTimer::scheduledTimerWithTimeInterval(
        kAliveIntervalSeconds, [self](QMTimer&) { self->setAliveValue(); }, true);
    QMStatefulMetric::startMetricCollection();
    enterStateWithName(STATE_CURRENT_ELAPSED());
    enterStateWithName(STATE_TOTAL_ELAPSED());
}

void QMElapsedTimeMetric::stopMetricCollection() {
    QMStatefulMetric::stopMetricCollection();
    if (timer_) {
        timer_->invalidate();
    }
}

void QMElapsedTimeMetric::setAliveValue() { alive_ = true; }

bool QMElapsedTimeMetric::canCollectMetric() { return true; }

std::optional<QMJSON> QMElapsedTimeMetric::calculateMetric() {
    QMJSON result = QMJSON::object();
    exitStateWithName(STATE_CURRENT_ELAPSED());
    result[PROPERTY_CURRENT_ELAPSED_TIME()] =
        QMFormat("%lld", loadState(STATE_CURRENT_ELAPSED())->getStateTotalTime());
    result[PROPERTY_TOTAL_ELAPSED_TIME()] =
        QMFormat("%lld", loadState(STATE_TOTAL_ELAPSED())->getStateTotalTime());
    result[PROPERTY_PERIOD_DURATION()] = QMFormat("%d", INTERVAL_LENGTH);
    if (reportsAlive()) {
        result[PROPERTY_ALIVE()] = QMFormat("%d", alive_);
        alive_ = false;
    }
    return result;
}

void QMElapsedTimeMetric::afterMetricCollected() {
    QMStatefulMetric::afterMetricCollected();
    clearHistory(STATE_CURRENT_ELAPSED());
    enterStateWithName(STATE_CURRENT_ELAPSED());
}

}  // namespace veyrakit
