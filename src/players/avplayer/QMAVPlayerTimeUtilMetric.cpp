#include "players/avplayer/QMAVPlayerTimeUtilMetric.h"

#include "core/QMObjectRepository.h"
#include "core/QMVeyraPlugin.h"

namespace veyrakit {

QMAVPlayerTimeUtilMetric::QMAVPlayerTimeUtilMetric()
    : plugin_(QMObjectRepository::getRepositoryInstance()->plugin()) {}

bool QMAVPlayerTimeUtilMetric::reportsAlive() const { return true; }

}  // namespace veyrakit
