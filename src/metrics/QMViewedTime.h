#pragma once
#include <cstdint>

#include "metrics/QMSecondRanges.h"
#include "veyrakit/platform/QMObject.h"

namespace veyrakit {

// The viewed-time bookkeeping of the viewing-time metrics: the whole seconds of the media
// timeline the playhead was seen in while playing, for the session and for the current report
// interval. A second counts towards the interval only when a sample falls in its latter half.
class QMViewedTime : public QMObject {
  public:
    // Whole seconds of media time (the playhead truncated towards zero), as runs of seconds.
    using ViewedTimeMap = QMSecondRanges;

    // Records the playhead position (seconds) of one accepted sample.
    void recordPosition(double seconds);
    // Viewed time in ms: seconds in the total / current map times 1000.
    int32_t getTotalViewingTime() const;
    int32_t getCurrentViewingTime() const;
    // A new report interval begins.
    void resetCurrent();

    const ViewedTimeMap& totalViewedTimeMap() const { return totalViewedTimeMap_; }
    const ViewedTimeMap& currentViewedTimeMap() const { return currentViewedTimeMap_; }

  private:
    ViewedTimeMap totalViewedTimeMap_;
    ViewedTimeMap currentViewedTimeMap_;
};

}  // namespace veyrakit
