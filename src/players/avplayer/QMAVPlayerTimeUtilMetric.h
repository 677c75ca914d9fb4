#pragma once

#include "players/common/QMPlayerElapsedTimeMetric.h"

namespace veyrakit {

// The time frame of an AVPlayer plugin's reports, with the liveness flag: a one-minute timer
// raises `alive`, every report carries it and lowers it.
class QMAVPlayerTimeUtilMetric : public QMPlayerElapsedTimeMetric {
  public:
    QMAVPlayerTimeUtilMetric() : QMPlayerElapsedTimeMetric(true) {}
};

}  // namespace veyrakit
