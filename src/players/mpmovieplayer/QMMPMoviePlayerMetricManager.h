#pragma once
#include "metrics/QMMetricManager.h"

namespace veyrakit {

// The six metrics of an MPMoviePlayerController plugin under the keys every player kind uses:
// 0 buffering and join time, 1 bitrate, 2 playback, 3 viewing time, 4 full screen, 5 elapsed
// time, made in the order 1, 3, 0, 2, 4, 5, each taking the current plugin from the repository.
class QMMPMoviePlayerMetricManager : public QMMetricManager {
  public:
    QMMPMoviePlayerMetricManager();
};

}  // namespace veyrakit
