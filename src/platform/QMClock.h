#pragma once
#include <cstdint>

#include "platform/QMExport.h"

// Time as the SDK sees it: follows the main run loop's clock, so a virtual loop moves every
// timestamp the SDK takes.
class VEYRAKIT_EXPORT QMClock {
  public:
    // seconds * 1000 + microseconds / 1000, truncated (gettimeofday arithmetic).
    static int64_t currentTimeMillis();
    static int64_t currentTimeMicros();
    // Seconds since 1970 as a double (the platform date's time interval).
    static double timeIntervalSince1970();
};
