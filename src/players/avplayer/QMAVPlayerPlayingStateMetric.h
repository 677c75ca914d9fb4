#pragma once
#include <memory>
#include <string>

#include "players/avplayer/QMAVPlayerVeyraPlugin.h"
#include "players/common/QMPlayerPlayingStateMetric.h"

namespace veyrakit {

// How an AVPlayer tells whether it plays and whether it waits for data: the current item's
// buffer key paths and the player's "rate", observed and turned into the four playing events.
class QMAVPlayerPlayingStateMetric : public QMPlayerPlayingStateMetric<QMAVPlayerVeyraPlugin> {
  public:
    // Turns the change into the playing events (dispatchPlayerChange).
    void observeValueForKeyPath(const std::string& keyPath, QMObject* object, const QMKeyValueChange& change,
                                void* context) override;

  protected:
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

  private:
    // Its address tells this metric's "rate" observation apart.
    char kRateDidChangeKVO = 0;
};

}  // namespace veyrakit
