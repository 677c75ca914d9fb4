#include "metrics/QMStatelessMetric.h"

#include <climits>
#include <cmath>
#include <utility>

namespace veyrakit {

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

int64_t QMStatelessMetric::truncatedBitrate(double bitrate) {
    if (!std::isfinite(bitrate) || bitrate >= 9223372036854775808.0 || bitrate < -9223372036854775808.0) {
        return INT64_MIN;
    }
    return static_cast<int64_t>(bitrate);
}

int32_t QMStatelessMetric::wholeSeconds(double seconds) {
    if (!std::isfinite(seconds) || seconds >= 2147483648.0 || seconds <= -2147483649.0) {
        return INT32_MIN;
    }
    return static_cast<int32_t>(seconds);
}

}  // namespace veyrakit
