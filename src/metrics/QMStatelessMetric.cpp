#include "metrics/QMStatelessMetric.h"

#include <utility>

std::optional<QMJSON> QMStatelessMetric::metric() const {
    std::lock_guard<std::mutex> lock(metricMutex_);
    return metric_;
}

void QMStatelessMetric::setMetric(std::optional<QMJSON> metric) {
    std::lock_guard<std::mutex> lock(metricMutex_);
    metric_ = std::move(metric);
}

bool QMStatelessMetric::canCollectMetric() {
    std::lock_guard<std::mutex> lock(metricMutex_);
    return metric_.has_value();
}
