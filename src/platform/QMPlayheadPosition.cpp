#include "platform/QMPlayheadPosition.h"

#include <algorithm>
#include <cmath>

namespace veyrakit {

int64_t playheadNanosAt(int64_t anchorNanos, int64_t anchorMicros, int64_t nowMicros, bool moving,
                        double rate, std::optional<int64_t> durationNanos) {
    int64_t nanos = anchorNanos;
    if (moving) {
        const double elapsedNanos = static_cast<double>(nowMicros - anchorMicros) * 1000.0;
        nanos += static_cast<int64_t>(std::llround(elapsedNanos * rate));
    }
    if (durationNanos) {
        nanos = std::min(nanos, *durationNanos);
    }
    return std::max<int64_t>(nanos, 0);
}

}  // namespace veyrakit
