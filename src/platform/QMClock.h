#pragma once
#include <cstdint>

#include "veyrakit/platform/QMExport.h"

namespace veyrakit {

// Timestamps as the SDK takes them: the main run loop's wall clock (QMRunLoop::nowMicros), so a
// virtual loop moves every timestamp. Wall time may jump when the system clock is set; durations
// that schedule work use the loop's monotonic clock instead (timers, delayed tasks).
class VEYRAKIT_EXPORT QMClock {
  public:
    // seconds * 1000 + microseconds / 1000, truncated (gettimeofday arithmetic).
    static int64_t currentTimeMillis();
    static int64_t currentTimeMicros();
    // Seconds since 1970 as a double (the platform date's time interval).
    static double timeIntervalSince1970();
};

}  // namespace veyrakit
