#include "players/avplayer/QMAVPlayerFullScreenMetric.h"

namespace veyrakit {

void QMAVPlayerFullScreenMetric::startMetricCollection() {
    observePlayer();
    takePlayerCondition();
}

}  // namespace veyrakit
