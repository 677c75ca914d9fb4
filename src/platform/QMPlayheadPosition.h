#pragma once
#include <cstdint>
#include <optional>

namespace veyrakit {

// Where a player model's playhead is, in nanoseconds of media, at `nowMicros` on the clock: the
// position anchored at `anchorMicros`, advanced at `rate` while the playhead moves, and kept
// between 0 and the duration (no upper bound while the duration is unknown). Both player models
// re-anchor at every change of what moves the playhead, so the rate is constant in between.
int64_t playheadNanosAt(int64_t anchorNanos, int64_t anchorMicros, int64_t nowMicros, bool moving,
                        double rate, std::optional<int64_t> durationNanos);

}  // namespace veyrakit
