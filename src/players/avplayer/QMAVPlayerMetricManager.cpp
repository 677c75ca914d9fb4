#include "players/avplayer/QMAVPlayerMetricManager.h"

#include <memory>

#include "players/avplayer/QMAVPlayerBitrateMetric.h"
#include "players/avplayer/QMAVPlayerBufferingMetric.h"
#include "players/avplayer/QMAVPlayerFullScreenMetric.h"
#include "players/avplayer/QMAVPlayerPlaybackMetric.h"
#include "players/avplayer/QMAVPlayerTimeUtilMetric.h"
#include "players/avplayer/QMAVPlayerViewingTimeMetric.h"

namespace veyrakit {

QMAVPlayerMetricManager::QMAVPlayerMetricManager() {
    insertMetric(BITRATE_METRIC_KEY, std::make_shared<QMAVPlayerBitrateMetric>());
    insertMetric(VIEWING_TIME_METRIC_KEY, std::make_shared<QMAVPlayerViewingTimeMetric>());
    insertMetric(BUFFERING_METRIC_KEY, std::make_shared<QMAVPlayerBufferingMetric>());
    insertMetric(PLAYBACK_METRIC_KEY, std::make_shared<QMAVPlayerPlaybackMetric>());
    insertMetric(FULL_SCREEN_METRIC_KEY, std::make_shared<QMAVPlayerFullScreenMetric>());
    insertMetric(ELAPSED_TIME_METRIC_KEY, std::make_shared<QMAVPlayerTimeUtilMetric>());
}

}  // namespace veyrakit
