#pragma once
#include <memory>
#include <optional>
#include <string>

#include "metrics/QMStatefulMetric.h"
#include "platform/QMJSON.h"

namespace veyrakit {

class QMTimer;

// The time frame of every periodical report, shared by the player kinds: wall-clock time since
// collection started, time since the previous report and the configured report period; and an
// `alive` flag that a one-minute timer raises, which a player kind may report (and lower) with
// every report. It does not look at the player.
class QMElapsedTimeMetric : public QMStatefulMetric {
  public:
    static const std::string& STATE_TOTAL_ELAPSED();    // "totalElapsed"
    static const std::string& STATE_CURRENT_ELAPSED();  // "currentElapsed"

    // Raises `alive`, starts the minute timer (which holds this metric until stopped) and opens
    // both states. Needs a shared owner.
    void startMetricCollection() override;
    // Invalidates the minute timer; the states stay as they are.
    void stopMetricCollection() override;
    // The minute timer's action.
    void setAliveValue();

    bool canCollectMetric() override;
    // {"currentElapsedTime", "totalElapsedTime", "periodDuration"} and, when reportsAlive(),
    // "alive" (then lowered); all strings. Throws QMIllegalStateException before the first start.
    std::optional<QMJSON> calculateMetric() override;
    // Re-opens "currentElapsed" for the next report.
    void afterMetricCollected() override;

    bool alive() const { return alive_; }
    std::shared_ptr<QMTimer> timer() const { return timer_; }

  protected:
    QMElapsedTimeMetric() = default;

    virtual bool reportsAlive() const = 0;

  private:
    bool alive_ = false;
    std::shared_ptr<QMTimer> timer_;
};

}  // namespace veyrakit
