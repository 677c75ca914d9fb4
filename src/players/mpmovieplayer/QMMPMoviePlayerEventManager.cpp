#include "players/mpmovieplayer/QMMPMoviePlayerEventManager.h"

#include <memory>

#include "diagnostics/QMMPMoviePlayerPIEHandler.h"
#include "players/mpmovieplayer/QMMPMoviePlayerControllerVeyraPlugin.h"
#include "players/mpmovieplayer/QMMPMoviePlayerOnMediaErrorHandler.h"

namespace veyrakit {

QMMPMoviePlayerEventManager::QMMPMoviePlayerEventManager() {
    addHandler(std::make_shared<QMMPMoviePlayerOnMediaErrorHandler>());
    addHandler(
        std::make_shared<QMMPMoviePlayerPIEHandler>(QMMPMoviePlayerControllerVeyraPlugin::currentPlayer()));
}

}  // namespace veyrakit
