#pragma once
#include <memory>

#include "metrics/QMElapsedTimeMetric.h"

namespace veyrakit {

class QMVeyraPlugin;

// The time frame of every periodical report of a movie player plugin. Its reports carry no
// "alive": the minute timer still runs and raises the unreported flag.
class QMMPMoviePlayerTimeUtilMetric : public QMElapsedTimeMetric {
  public:
    // Takes the current plugin from the repository.
    QMMPMoviePlayerTimeUtilMetric();

    std::shared_ptr<QMVeyraPlugin> plugin() const { return plugin_; }

  protected:
    bool reportsAlive() const override;

  private:
    std::shared_ptr<QMVeyraPlugin> plugin_;
};

}  // namespace veyrakit
