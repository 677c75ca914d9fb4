#include "metrics/QMViewedTime.h"

#include <cmath>
#include <limits>

namespace veyrakit {

namespace {

// A sample counts its second towards the current interval only after the second's first 500 ms.
constexpr int32_t kCurrentSecondThresholdMillis = 501;

// Truncation towards zero to 32 bits as the device's processor does it: saturating at the
// limits, NaN giving 0 (a plain cast would be undefined there).
int32_t truncatedToInt32(double value) {
    if (std::isnan(value)) {
        return 0;
    }
    if (value >= static_cast<double>(std::numeric_limits<int32_t>::max())) {
        return std::numeric_limits<int32_t>::max();
    }
    if (value <= static_cast<double>(std::numeric_limits<int32_t>::min())) {
        return std::numeric_limits<int32_t>::min();
    }
    return static_cast<int32_t>(value);
}

}  // namespace

void QMViewedTime::recordPosition(double seconds) {
    const int32_t second = truncatedToInt32(seconds);
    totalViewedTimeMap_.insert(second);
    if (truncatedToInt32(seconds * 1000.0) % 1000 >= kCurrentSecondThresholdMillis) {
        currentViewedTimeMap_.insert(second);
    }
}

int32_t QMViewedTime::getTotalViewingTime() const {
    return static_cast<int32_t>(totalViewedTimeMap_.size()) * 1000;
}

int32_t QMViewedTime::getCurrentViewingTime() const {
    return static_cast<int32_t>(currentViewedTimeMap_.size()) * 1000;
}

void QMViewedTime::resetCurrent() { currentViewedTimeMap_.clear(); }

}  // namespace veyrakit
