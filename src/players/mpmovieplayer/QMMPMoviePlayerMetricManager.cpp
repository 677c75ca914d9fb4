#include "players/mpmovieplayer/QMMPMoviePlayerMetricManager.h"

#include <memory>

#include "players/mpmovieplayer/QMMPMoviePlayerBitrateMetric.h"
#include "players/mpmovieplayer/QMMPMoviePlayerBufferingMetric.h"
#include "players/mpmovieplayer/QMMPMoviePlayerFullScreenMetric.h"
#include "players/mpmovieplayer/QMMPMoviePlayerPlaybackMetric.h"
#include "players/mpmovieplayer/QMMPMoviePlayerTimeUtilMetric.h"
#include "players/mpmovieplayer/QMMPMoviePlayerViewingTimeMetric.h"

namespace veyrakit {

QMMPMoviePlayerMetricManager::QMMPMoviePlayerMetricManager() {
    insertMetric(BITRATE_METRIC_KEY, std::make_shared<QMMPMoviePlayerBitrateMetric>());
    insertMetric(VIEWING_TIME_METRIC_KEY, std::make_shared<QMMPMoviePlayerViewingTimeMetric>());
    insertMetric(BUFFERING_METRIC_KEY, std::make_shared<QMMPMoviePlayerBufferingMetric>());
    insertMetric(PLAYBACK_METRIC_KEY, std::make_shared<QMMPMoviePlayerPlaybackMetric>());
    insertMetric(FULL_SCREEN_METRIC_KEY, std::make_shared<QMMPMoviePlayerFullScreenMetric>());
    insertMetric(ELAPSED_TIME_METRIC_KEY, std::make_shared<QMMPMoviePlayerTimeUtilMetric>());
}

}  // namespace veyrakit
