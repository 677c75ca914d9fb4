#include "players/avplayer/QMAVPlayerEventManager.h"

#include <memory>

#include "players/avplayer/QMAVPlayerOnMediaErrorHandler.h"

QMAVPlayerEventManager::QMAVPlayerEventManager() {
    addHandler(std::make_shared<QMAVPlayerOnMediaErrorHandler>());
}
