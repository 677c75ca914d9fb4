#pragma once

#include "players/avplayer/QMAVPlayerBitrateMetric.h"
#include "players/avplayer/QMAVPlayerBufferingMetric.h"
#include "players/avplayer/QMAVPlayerFullScreenMetric.h"
#include "players/avplayer/QMAVPlayerPlaybackMetric.h"
#include "players/avplayer/QMAVPlayerTimeUtilMetric.h"
#include "players/avplayer/QMAVPlayerViewingTimeMetric.h"
#include "players/common/QMPlayerMetricManager.h"

namespace veyrakit {

// The six metrics of an AVPlayer plugin.
using QMAVPlayerMetricManager =
    QMPlayerMetricManager<QMAVPlayerBitrateMetric, QMAVPlayerViewingTimeMetric, QMAVPlayerBufferingMetric,
                          QMAVPlayerPlaybackMetric, QMAVPlayerFullScreenMetric, QMAVPlayerTimeUtilMetric>;

}  // namespace veyrakit
