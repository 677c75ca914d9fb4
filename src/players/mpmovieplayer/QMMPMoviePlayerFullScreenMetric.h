#pragma once

#include "players/common/QMPlayerFullScreenMetric.h"
#include "players/mpmovieplayer/QMMPMoviePlayerPlayingStateMetric.h"

namespace veyrakit {

// Time watched in full screen on a movie player, the view's size known from the player's own
// full-screen notifications. A view already full screen when collection starts counts only from
// the next full-screen notification.
class QMMPMoviePlayerFullScreenMetric : public QMPlayerFullScreenMetric<QMMPMoviePlayerPlayingStateMetric> {
  public:
    QMMPMoviePlayerFullScreenMetric() = default;

    // Load and playback state observations, the present condition (stalled: buffering; playing:
    // unpause), then the two full-screen observations.
    void startMetricCollection() override;

    void onEnterFullScreen() { setFullScreen(true); }
    void onExitFullScreen() { setFullScreen(false); }
};

}  // namespace veyrakit
