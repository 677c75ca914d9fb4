#pragma once
#include <memory>

#include "metrics/QMMetricManager.h"

namespace veyrakit {

// The six metrics of a player plugin under the keys every kind uses: 0 buffering and join time,
// 1 bitrate, 2 playback, 3 viewing time, 4 full screen, 5 elapsed time. They are made in the
// order 1, 3, 0, 2, 4, 5, each taking the current plugin from the repository; that order is also
// the order in which their "sessionId" observations see the session id, hence of their
// held-back reports.
template <typename Bitrate, typename ViewingTime, typename Buffering, typename Playback, typename FullScreen,
          typename ElapsedTime>
class QMPlayerMetricManager : public QMMetricManager {
  public:
    QMPlayerMetricManager() {
        insertMetric(BITRATE_METRIC_KEY, std::make_shared<Bitrate>());
        insertMetric(VIEWING_TIME_METRIC_KEY, std::make_shared<ViewingTime>());
        insertMetric(BUFFERING_METRIC_KEY, std::make_shared<Buffering>());
        insertMetric(PLAYBACK_METRIC_KEY, std::make_shared<Playback>());
        insertMetric(FULL_SCREEN_METRIC_KEY, std::make_shared<FullScreen>());
        insertMetric(ELAPSED_TIME_METRIC_KEY, std::make_shared<ElapsedTime>());
    }
};

}  // namespace veyrakit
