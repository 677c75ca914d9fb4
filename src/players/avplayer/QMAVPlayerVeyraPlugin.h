#pragma once
#include <memory>

#include "core/QMVeyraPlugin.h"
#include "platform/avfoundation/AVPlayer.h"

// The plugin that monitors one AVPlayer.
class VEYRAKIT_EXPORT QMAVPlayerVeyraPlugin : public QMVeyraPlugin {
public:
    // The monitored player (read-only).
    std::shared_ptr<AVPlayer> player() const { return player_; }

protected:
    std::shared_ptr<AVPlayer> player_;
};
