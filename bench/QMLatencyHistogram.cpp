#include "QMLatencyHistogram.h"

#include <algorithm>
#include <cmath>

namespace veyrakit {

QMLatencyHistogram::QMLatencyHistogram(int64_t ceilingMicros)
    : buckets_(static_cast<std::size_t>(ceilingMicros) + 1, 0) {}

void QMLatencyHistogram::add(int64_t nanos) {
    const auto last = static_cast<int64_t>(buckets_.size()) - 1;
    ++buckets_[static_cast<std::size_t>(std::clamp<int64_t>(nanos / 1000, 0, last))];
    ++count_;
    maxNanos_ = std::max(maxNanos_, nanos);
}

double QMLatencyHistogram::percentileMicros(double fraction) const {
    if (count_ == 0) {
        return 0;
    }
    const auto rank =
        std::max<int64_t>(1, static_cast<int64_t>(std::ceil(fraction * static_cast<double>(count_))));
    int64_t seen = 0;
    for (std::size_t micros = 0; micros < buckets_.size(); ++micros) {
        seen += buckets_[micros];
        if (seen >= rank) {
            // The bucket holds [micros, micros + 1): its upper edge, so that a figure never flatters.
            return static_cast<double>(micros + 1);
        }
    }
    return maxMicros();
}

}  // namespace veyrakit
