#include "players/mpmovieplayer/QMMPMoviePlayerEventManager.h"

#include <memory>

#include "players/mpmovieplayer/QMMPMoviePlayerOnMediaErrorHandler.h"

QMMPMoviePlayerEventManager::QMMPMoviePlayerEventManager() {
    addHandler(std::make_shared<QMMPMoviePlayerOnMediaErrorHandler>());
}
