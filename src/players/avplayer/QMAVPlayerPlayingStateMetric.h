#pragma once
#include <memory>
#include <string>

#include "metrics/QMStatefulMetric.h"

namespace veyrakit {

class AVPlayer;

// A stateful metric that follows whether an AVPlayer plays and whether it waits for data: it
// observes the current item's buffer key paths and the player's "rate" and turns their changes
// into the four events its subclasses handle.
class QMAVPlayerPlayingStateMetric : public QMStatefulMetric {
  public:
    virtual void handleUnpause() = 0;
    virtual void handlePause() = 0;
    virtual void handlePlayback() = 0;
    virtual void handleBuffering() = 0;

    std::shared_ptr<AVPlayer> player() const { return player_; }

  protected:
    // Takes the player of the current plugin from the repository.
    QMAVPlayerPlayingStateMetric();

    // "playbackBufferEmpty", "playbackLikelyToKeepUp", "playbackBufferFull" of the current item
    // (no context), then "rate" of the player (this metric's own context).
    void observePlayer();
    // The same observations, from the item current now.
    void stopObservingPlayer();
    // Buffer empty: buffering; then, independently, a rate above zero: unpause.
    void takePlayerCondition();
    // An empty buffer is buffering; likely to keep up, or else a full buffer, is playback; a
    // rate other than zero (NaN included) is unpause, zero is pause.
    void dispatchPlayerChange(const std::string& keyPath, QMObject* object, void* context);

    std::shared_ptr<AVPlayer> player_;

  private:
    // Its address tells this metric's "rate" observation apart.
    char kRateDidChangeKVO = 0;
};

}  // namespace veyrakit
