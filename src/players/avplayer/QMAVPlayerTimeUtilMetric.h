#pragma once
#include <memory>
#include <optional>
#include <string>

#include "metrics/QMStatefulMetric.h"
#include "platform/QMJSON.h"

class QMTimer;
class QMVeyraPlugin;

// The time frame of every periodical report: wall-clock time since collection started, time since
// the previous report, the configured report period, and a liveness flag that a one-minute timer
// raises and every report lowers. It does not look at the player.
class QMAVPlayerTimeUtilMetric : public QMStatefulMetric {
  public:
    static const std::string& STATE_TOTAL_ELAPSED();    // "totalElapsed"
    static const std::string& STATE_CURRENT_ELAPSED();  // "currentElapsed"

    // Takes the current plugin from the repository.
    QMAVPlayerTimeUtilMetric();

    // Raises `alive`, starts the minute timer (which holds this metric until stopped) and opens
    // both states. Needs a shared owner.
    void startMetricCollection() override;
    // Invalidates the minute timer; the states stay as they are.
    void stopMetricCollection() override;
    // The minute timer's action.
    void setAliveValue();

    bool canCollectMetric() override;
    // {"currentElapsedTime", "totalElapsedTime", "periodDuration", "alive"}, all strings; lowers
    // `alive`. Throws QMIllegalStateException before the first start.
    std::optional<QMJSON> calculateMetric() override;
    // Re-opens "currentElapsed" for the next report.
    void afterMetricCollected() override;

    std::shared_ptr<QMVeyraPlugin> plugin() const { return plugin_; }
    bool alive() const { return alive_; }
    std::shared_ptr<QMTimer> timer() const { return timer_; }

  private:
    std::shared_ptr<QMVeyraPlugin> plugin_;
    bool alive_ = false;
    std::shared_ptr<QMTimer> timer_;
};
