#pragma once

#include "players/common/QMPlayerMetricManager.h"
#include "players/mpmovieplayer/QMMPMoviePlayerBitrateMetric.h"
#include "players/mpmovieplayer/QMMPMoviePlayerBufferingMetric.h"
#include "players/mpmovieplayer/QMMPMoviePlayerFullScreenMetric.h"
#include "players/mpmovieplayer/QMMPMoviePlayerPlaybackMetric.h"
#include "players/mpmovieplayer/QMMPMoviePlayerTimeUtilMetric.h"
#include "players/mpmovieplayer/QMMPMoviePlayerViewingTimeMetric.h"

namespace veyrakit {

// The six metrics of an MPMoviePlayerController plugin.
using QMMPMoviePlayerMetricManager =
    QMPlayerMetricManager<QMMPMoviePlayerBitrateMetric, QMMPMoviePlayerViewingTimeMetric,
                          QMMPMoviePlayerBufferingMetric, QMMPMoviePlayerPlaybackMetric,
                          QMMPMoviePlayerFullScreenMetric, QMMPMoviePlayerTimeUtilMetric>;

}  // namespace veyrakit
