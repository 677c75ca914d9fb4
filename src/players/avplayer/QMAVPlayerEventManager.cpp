#include "players/avplayer/QMAVPlayerEventManager.h"

#include <memory>

#include "players/avplayer/QMAVPlayerOnMediaErrorHandler.h"

namespace veyrakit {

QMAVPlayerEventManager::QMAVPlayerEventManager() {
    addHandler(std::make_shared<QMAVPlayerOnMediaErrorHandler>());
}

}  // namespace veyrakit
