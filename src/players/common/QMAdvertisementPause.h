#pragma once

namespace veyrakit {

// The advertisement pause of a metric that takes one: between the host's start and end of an
// advertisement the metric is inactive, and what "inactive" holds back is the metric's own
// business (a report, a completion, re-opening an interval). The plugin pauses every metric of
// its manager that has this part.
class QMAdvertisementPause {
  public:
    virtual ~QMAdvertisementPause();

    // Advertisement start / end.
    virtual void pauseMetricCollection();
    virtual void resumeMetricCollection();

    bool isActive() const { return isActive_; }

  protected:
    QMAdvertisementPause() = default;
    QMAdvertisementPause(const QMAdvertisementPause&) = default;
    QMAdvertisementPause& operator=(const QMAdvertisementPause&) = default;

    bool isActive_ = true;
};

}  // namespace veyrakit
