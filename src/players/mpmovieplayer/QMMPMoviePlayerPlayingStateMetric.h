#pragma once
#include <memory>

#include "metrics/QMStatefulMetric.h"
#include "veyrakit/platform/QMNotificationCenter.h"

namespace veyrakit {

class MPMoviePlayerController;

// A stateful metric that follows whether a movie player plays and whether it waits for data: it
// turns the player's load-state and playback-state notifications into the four events its
// subclasses handle. Load states are compared for equality: 4 (stalled) is buffering, 1
// (playable) or 2 (playthrough OK) is playback, anything else (the combination 3 too) nothing.
class QMMPMoviePlayerPlayingStateMetric : public QMStatefulMetric {
  public:
    virtual void handleUnpause() = 0;
    virtual void handlePause() = 0;
    virtual void handlePlayback() = 0;
    virtual void handleBuffering() = 0;

    void onBufferingChange(const QMNotification& notification);
    // Playing (1) is unpause; any other playback state is pause.
    void onPlaybackStateChange(const QMNotification& notification);

    std::shared_ptr<MPMoviePlayerController> player() const { return player_; }

  protected:
    // Takes the player of the current plugin from the repository.
    QMMPMoviePlayerPlayingStateMetric();

    // Load-state then playback-state notifications of the player. Needs a shared owner.
    void observePlayer();
    using Action = void (*)(QMMPMoviePlayerPlayingStateMetric& metric);
    // Adds one more notification of the player, carried out by `action` on this metric.
    void observePlayerNotification(const char* name, Action action);
    // Removes every notification observation of this metric.
    void stopObservingPlayer();

    std::shared_ptr<MPMoviePlayerController> player_;
};

}  // namespace veyrakit
