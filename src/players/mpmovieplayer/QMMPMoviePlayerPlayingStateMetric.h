#pragma once

#include "players/common/QMPlayerPlayingStateMetric.h"
#include "players/mpmovieplayer/QMMPMoviePlayerControllerVeyraPlugin.h"
#include "veyrakit/platform/QMNotificationCenter.h"

namespace veyrakit {

// How a movie player tells whether it plays and whether it waits for data: its load-state and
// playback-state notifications, turned into the four playing events. Load states are compared
// for equality: 4 (stalled) is buffering, 1 (playable) or 2 (playthrough OK) is playback,
// anything else (the combination 3 too) nothing.
class QMMPMoviePlayerPlayingStateMetric
    : public QMPlayerPlayingStateMetric<QMMPMoviePlayerControllerVeyraPlugin> {
  public:
    void onBufferingChange(const QMNotification& notification);
    // Playing (1) is unpause; any other playback state is pause.
    void onPlaybackStateChange(const QMNotification& notification);

  protected:
    // Load-state then playback-state notifications of the player. Needs a shared owner.
    void observePlayer();
    // Removes every notification observation of this metric.
    void stopObservingPlayer();
};

}  // namespace veyrakit
