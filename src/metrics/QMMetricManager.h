#pragma once
#include <map>
#include <memory>
#include <mutex>

#include "metrics/QMMetric.h"
#include "platform/QMJSON.h"
#include "veyrakit/platform/QMObject.h"

namespace veyrakit {

// Owns one plugin's metrics: starts them when the player first plays, merges their values into
// every periodical report, relays whether the report got through, and stops them at tear-down.
// Player-specific managers fill the map in their constructor.
class QMMetricManager : public QMObject {
  public:
    // Enumeration follows ascending key order, so on an equal value name the metric with the
    // higher key wins the merge.
    using MetricsMap = std::map<int, std::shared_ptr<QMMetric>>;

    // Keys of the six metrics, the same for every player kind.
    static constexpr int BUFFERING_METRIC_KEY = 0;
    static constexpr int BITRATE_METRIC_KEY = 1;
    static constexpr int PLAYBACK_METRIC_KEY = 2;
    static constexpr int VIEWING_TIME_METRIC_KEY = 3;
    static constexpr int FULL_SCREEN_METRIC_KEY = 4;
    static constexpr int ELAPSED_TIME_METRIC_KEY = 5;

    QMMetricManager() = default;

    // startMonitoringForAllMetrics, then marks the manager started.
    void start();
    // Starts every metric; an exception of one metric is logged and the others still start.
    void startMonitoringForAllMetrics();
    // Merged values of every metric that can collect (their reset hooks run); an empty object
    // when none contributes. Exceptions of the metrics propagate.
    QMJSON serializeMetricValues();
    // Passes the outcome of a periodical send to every metric; the manager keeps nothing.
    void isSentSuccessfully(bool value);
    bool sentSuccessfully() const { return false; }
    // Stops every metric if the manager was started (again on a second call); an exception of
    // one metric is logged and the others still stop.
    void dispose();

    MetricsMap metricsMap() const;
    void setMetricsMap(MetricsMap metricsMap);
    void insertMetric(int key, std::shared_ptr<QMMetric> metric);
    std::shared_ptr<QMMetric> metricForKey(int key) const;  // null when absent
    bool started() const { return started_; }

  private:
    // `metricsMap` is an atomic property; the map's other accessors take the same lock.
    mutable std::mutex mapMutex_;
    MetricsMap metricsMap_;
    bool started_ = false;
};

}  // namespace veyrakit
