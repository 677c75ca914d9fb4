#pragma once
#include <cstdint>

namespace veyrakit {

// The bench binary's view of the heap: global operator new/delete are replaced (in this binary
// only) so that every allocation is counted and the bytes in use are known at any moment. Safe
// from any thread; the figures are process-wide.
class QMAllocationCounter {
  public:
    static int64_t allocations();
    static int64_t liveBytes();
    // Highest liveBytes since the last resetHighWater().
    static int64_t highWaterBytes();
    static void resetHighWater();
};

}  // namespace veyrakit
