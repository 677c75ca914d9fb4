#pragma once
#include <cstdint>
#include <vector>

namespace veyrakit {

// Durations in whole microseconds, kept as counts per microsecond up to a ceiling (anything
// longer is counted at the ceiling and remembered as the maximum), so that a day-long run can
// give its percentiles without keeping every sample on the heap it is measuring.
class QMLatencyHistogram {
  public:
    explicit QMLatencyHistogram(int64_t ceilingMicros = 20'000);

    void add(int64_t nanos);
    int64_t count() const { return count_; }
    // The smallest duration (µs) at or below which `fraction` of the samples lie; 0 when empty.
    double percentileMicros(double fraction) const;
    double maxMicros() const { return static_cast<double>(maxNanos_) / 1000.0; }

  private:
    std::vector<int64_t> buckets_;
    int64_t count_ = 0;
    int64_t maxNanos_ = 0;
};

}  // namespace veyrakit
