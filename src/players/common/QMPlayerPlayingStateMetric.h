#pragma once
#include <memory>

#include "metrics/QMStatefulMetric.h"

namespace veyrakit {

// A stateful metric that follows whether the player of the kind's current plugin (`Plugin`)
// plays and whether it waits for data. The kind turns what its player tells into the four
// events; the metrics built on it handle them.
template <typename Plugin>
class QMPlayerPlayingStateMetric : public QMStatefulMetric {
  public:
    using Player = typename Plugin::PlayerType;

    virtual void handleUnpause() = 0;
    virtual void handlePause() = 0;
    virtual void handlePlayback() = 0;
    virtual void handleBuffering() = 0;

    std::shared_ptr<Player> player() const { return player_; }

  protected:
    // Takes the player of the current plugin from the repository.
    QMPlayerPlayingStateMetric() : player_(Plugin::currentPlayer()) {}

    std::shared_ptr<Player> player_;
};

}  // namespace veyrakit
