#include "players/avplayer/QMAVPlayerTimeUtilMetric.h"

#include "core/QMObjectRepository.h"
#include "core/QMVeyraPlugin.h"
#include "platform/QMFormat.h"
#include "platform/QMTimer.h"
#include "veyrakit/VeyraKitGlobals.h"

namespace {
constexpr double kAliveIntervalSeconds = 60.0;
}  // namespace

const std::string& QMAVPlayerTimeUtilMetric::STATE_TOTAL_ELAPSED() {
    static const std::string name = "totalElapsed";
    return name;
}

const std::string& QMAVPlayerTimeUtilMetric::STATE_CURRENT_ELAPSED() {
    static const std::string name = "currentElapsed";
    return name;
}

QMAVPlayerTimeUtilMetric::QMAVPlayerTimeUtilMetric()
    : plugin_(QMObjectRepository::getRepositoryInstance()->plugin()) {}

void QMAVPlayerTimeUtilMetric::startMetricCollection() {
    alive_ = true;
    // A second start replaces the timer without invalidating the first one, which goes on
    // raising the flag: starting twice is not guarded against.
    auto self = selfAs<QMAVPlayerTimeUtilMetric>();
    timer_ = QMTimer::scheduledTimerWithTimeInterval(
        kAliveIntervalSeconds, [self](QMTimer&) { self->setAliveValue(); }, true);
    QMStatefulMetric::startMetricCollection();
    enterStateWithName(STATE_CURRENT_ELAPSED());
    enterStateWithName(STATE_TOTAL_ELAPSED());
}

void QMAVPlayerTimeUtilMetric::stopMetricCollection() {
    QMStatefulMetric::stopMetricCollection();
    if (timer_) {
        timer_->invalidate();
    }
}

void QMAVPlayerTimeUtilMetric::setAliveValue() { alive_ = true; }

bool QMAVPlayerTimeUtilMetric::canCollectMetric() { return true; }

std::optional<QMJSON> QMAVPlayerTimeUtilMetric::calculateMetric() {
    QMJSON result = QMJSON::object();
    exitStateWithName(STATE_CURRENT_ELAPSED());
    result[PROPERTY_CURRENT_ELAPSED_TIME()] =
        QMFormat("%lld", loadState(STATE_CURRENT_ELAPSED())->getStateTotalTime());
    result[PROPERTY_TOTAL_ELAPSED_TIME()] =
        QMFormat("%lld", loadState(STATE_TOTAL_ELAPSED())->getStateTotalTime());
    result[PROPERTY_PERIOD_DURATION()] = QMFormat("%d", INTERVAL_LENGTH);
    result[PROPERTY_ALIVE()] = QMFormat("%d", alive_);
    alive_ = false;
    return result;
}

void QMAVPlayerTimeUtilMetric::afterMetricCollected() {
    QMStatefulMetric::afterMetricCollected();
    clearHistory(STATE_CURRENT_ELAPSED());
    enterStateWithName(STATE_CURRENT_ELAPSED());
}
