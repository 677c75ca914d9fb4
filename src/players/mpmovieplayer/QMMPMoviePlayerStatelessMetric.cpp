#include "players/mpmovieplayer/QMMPMoviePlayerStatelessMetric.h"

#include "players/mpmovieplayer/QMMPMoviePlayerControllerVeyraPlugin.h"

namespace veyrakit {

QMMPMoviePlayerStatelessMetric::QMMPMoviePlayerStatelessMetric()
    : player_(QMMPMoviePlayerControllerVeyraPlugin::currentPlayer()) {}

}  // namespace veyrakit
