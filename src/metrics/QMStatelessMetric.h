#pragma once
#include <cstdint>
#include <mutex>
#include <optional>

#include "metrics/QMMetric.h"

namespace veyrakit {

// A metric that keeps its current values in one dictionary, absent until the subclass makes it.
class QMStatelessMetric : public QMMetric {
  public:
    QMStatelessMetric() = default;

    std::optional<QMJSON> metric() const;
    void setMetric(std::optional<QMJSON> metric);

    // True exactly when the dictionary exists; an empty one counts.
    bool canCollectMetric() override;

  protected:
    // A bitrate as the players' logs give it (a double), truncated toward zero; what 64 bits
    // cannot hold becomes the lowest value, as the processor's conversion gives it.
    static int64_t truncatedBitrate(double bitrate);
    // Seconds (a duration) truncated toward zero to a 32-bit integer; what it cannot hold (an
    // indefinite duration's NaN, the infinities, the too large) becomes the lowest value.
    static int32_t wholeSeconds(double seconds);

  private:
    // `metric` is an atomic property: its accessors are the one synchronised access of a metric.
    mutable std::mutex metricMutex_;
    std::optional<QMJSON> metric_;
};

}  // namespace veyrakit
