#pragma once
#include <memory>

#include "metrics/QMElapsedTimeMetric.h"

namespace veyrakit {

class QMVeyraPlugin;

// The time frame of every periodical report of a player plugin. The minute timer raises the
// `alive` flag in every kind; whether the reports carry it is the kind's choice.
class QMPlayerElapsedTimeMetric : public QMElapsedTimeMetric {
  public:
    std::shared_ptr<QMVeyraPlugin> plugin() const { return plugin_; }

  protected:
    // Takes the current plugin from the repository.
    explicit QMPlayerElapsedTimeMetric(bool reportsAlive);

    bool reportsAlive() const override { return reportsAlive_; }

  private:
    std::shared_ptr<QMVeyraPlugin> plugin_;
    bool reportsAlive_;
};

}  // namespace veyrakit
