#pragma once
#include <cstdint>

#include "veyrakit/platform/QMRunLoop.h"

namespace veyrakit {

// A virtual main loop that the benchmark drives one pass at a time: a pass runs the timers due
// now and the tasks posted before it, or, with nothing to do, moves the clock on to the next due
// moment (never past `limitMicros`). Timing each pass times the callbacks it ran.
class QMSteppedRunLoop : public QMVirtualRunLoop {
  public:
    using QMVirtualRunLoop::QMVirtualRunLoop;

    // True when callbacks ran; false when the pass only let time pass (or waited for I/O).
    bool pass(int64_t limitMicros) { return runOnce(limitMicros - monotonicMicros()); }
};

}  // namespace veyrakit
