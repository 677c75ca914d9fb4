#pragma once
#include <memory>

#include "core/QMPluginBufferingMetric.h"

namespace veyrakit {

// The buffering and join-time metric of a player kind, with the player of the kind's current
// plugin (`Plugin`), taken from the repository at creation.
template <typename Plugin>
class QMPlayerBufferingMetric : public QMPluginBufferingMetric {
  public:
    using Player = typename Plugin::PlayerType;

    std::shared_ptr<Player> player() const { return player_; }

  protected:
    QMPlayerBufferingMetric() : player_(Plugin::currentPlayer()) {}

    std::shared_ptr<Player> player_;
};

}  // namespace veyrakit
