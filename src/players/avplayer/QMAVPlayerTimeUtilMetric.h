#pragma once
#include <memory>

#include "metrics/QMElapsedTimeMetric.h"

namespace veyrakit {

class QMVeyraPlugin;

// The time frame of every periodical report of an AVPlayer plugin, with the liveness flag: a
// one-minute timer raises `alive`, every report carries it and lowers it.
class QMAVPlayerTimeUtilMetric : public QMElapsedTimeMetric {
  public:
    // Takes the current plugin from the repository.
    QMAVPlayerTimeUtilMetric();

    std::shared_ptr<QMVeyraPlugin> plugin() const { return plugin_; }

  protected:
    bool reportsAlive() const override;

  private:
    std::shared_ptr<QMVeyraPlugin> plugin_;
};

}  // namespace veyrakit
