#pragma once

#include "players/common/QMPlayerElapsedTimeMetric.h"

namespace veyrakit {

// The time frame of a movie player plugin's reports. They carry no "alive": the minute timer
// still runs and raises the unreported flag.
class QMMPMoviePlayerTimeUtilMetric : public QMPlayerElapsedTimeMetric {
  public:
    QMMPMoviePlayerTimeUtilMetric() : QMPlayerElapsedTimeMetric(false) {}
};

}  // namespace veyrakit
