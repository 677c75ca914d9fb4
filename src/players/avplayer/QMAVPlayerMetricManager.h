#pragma once
#include "metrics/QMMetricManager.h"

namespace veyrakit {

// The six metrics of an AVPlayer plugin under their keys: 0 buffering and join time, 1 bitrate,
// 2 playback, 3 viewing time, 4 full screen, 5 elapsed time. They are made in the order 1, 3, 0,
// 2, 4, 5, each taking the current plugin from the repository; that order is also the order in
// which their "sessionId" observations see the session id, hence of their held-back reports.
class QMAVPlayerMetricManager : public QMMetricManager {
  public:
    QMAVPlayerMetricManager();
};

}  // namespace veyrakit
