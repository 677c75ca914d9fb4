#pragma once
#include <memory>

#include "core/QMPluginStatelessMetric.h"

namespace veyrakit {

class MPMoviePlayerController;

// The stateless movie player metrics: the plugin's one-shot report held back for the session id,
// and the plugin's movie player, both taken from the repository at creation.
class QMMPMoviePlayerStatelessMetric : public QMPluginStatelessMetric {
  public:
    std::shared_ptr<MPMoviePlayerController> player() const { return player_; }

  protected:
    QMMPMoviePlayerStatelessMetric();

    std::shared_ptr<MPMoviePlayerController> player_;
};

}  // namespace veyrakit
