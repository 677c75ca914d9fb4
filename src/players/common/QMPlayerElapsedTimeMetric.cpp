#include "players/common/QMPlayerElapsedTimeMetric.h"

#include "core/QMObjectRepository.h"
#include "core/QMVeyraPlugin.h"

namespace veyrakit {

QMPlayerElapsedTimeMetric::QMPlayerElapsedTimeMetric(bool reportsAlive)
    : plugin_(QMObjectRepository::getRepositoryInstance()->plugin()), reportsAlive_(reportsAlive) {}

}  // namespace veyrakit
