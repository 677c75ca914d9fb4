#pragma once
#include <memory>

#include "core/QMPluginStatelessMetric.h"

namespace veyrakit {

class AVPlayer;

// The stateless AVPlayer metrics: the plugin's one-shot report held back for the session id, and
// the plugin's AVPlayer, both taken from the repository at creation.
class QMAVPlayerStatelessMetric : public QMPluginStatelessMetric {
  public:
    std::shared_ptr<AVPlayer> player() const { return player_; }

  protected:
    QMAVPlayerStatelessMetric();

    std::shared_ptr<AVPlayer> player_;
};

}  // namespace veyrakit
