#pragma once
#include <memory>

#include "core/QMPluginStatelessMetric.h"

namespace veyrakit {

// The stateless metrics of a player kind: the plugin's one-shot report held back for the session
// id, and the player of the kind's current plugin (`Plugin`), both taken from the repository at
// creation.
template <typename Plugin>
class QMPlayerStatelessMetric : public QMPluginStatelessMetric {
  public:
    using Player = typename Plugin::PlayerType;

    std::shared_ptr<Player> player() const { return player_; }

  protected:
    QMPlayerStatelessMetric() : player_(Plugin::currentPlayer()) {}

    std::shared_ptr<Player> player_;
};

}  // namespace veyrakit
