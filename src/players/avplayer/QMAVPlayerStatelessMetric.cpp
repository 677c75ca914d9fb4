#include "players/avplayer/QMAVPlayerStatelessMetric.h"

#include "players/avplayer/QMAVPlayerVeyraPlugin.h"

namespace veyrakit {

QMAVPlayerStatelessMetric::QMAVPlayerStatelessMetric() {
    auto avPlugin = std::dynamic_pointer_cast<QMAVPlayerVeyraPlugin>(plugin_);
    player_ = avPlugin ? avPlugin->player() : nullptr;
}

}  // namespace veyrakit
