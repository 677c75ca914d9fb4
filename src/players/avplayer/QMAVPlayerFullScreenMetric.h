#pragma once

#include "players/avplayer/QMAVPlayerPlayingStateMetric.h"
#include "players/common/QMPlayerFullScreenMetric.h"

namespace veyrakit {

// Time watched in full screen on an AVPlayer. An AVPlayer knows nothing of its view's size, so
// the host reports size changes through the plugin (onSizeChanged). Advertisements do not pause
// this metric.
class QMAVPlayerFullScreenMetric : public QMPlayerFullScreenMetric<QMAVPlayerPlayingStateMetric> {
  public:
    // Takes the player of the current plugin from the repository.
    QMAVPlayerFullScreenMetric() = default;

    // Observes the current item's buffer key paths and the player's "rate", then takes the
    // player's present condition (the view counts as not full screen until told otherwise).
    void startMetricCollection() override;
    // true: the view went full screen; false: back in its normal frame.
    void onSizeChanged(bool isFullScreen) { setFullScreen(isFullScreen); }
};

}  // namespace veyrakit
