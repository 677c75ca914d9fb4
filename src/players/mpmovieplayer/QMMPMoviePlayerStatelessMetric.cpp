#include "players/mpmovieplayer/QMMPMoviePlayerStatelessMetric.h"

#include "players/mpmovieplayer/QMMPMoviePlayerControllerVeyraPlugin.h"

QMMPMoviePlayerStatelessMetric::QMMPMoviePlayerStatelessMetric()
    : player_(QMMPMoviePlayerControllerVeyraPlugin::currentPlayer()) {}
