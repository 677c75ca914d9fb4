#include "players/mpmovieplayer/QMMPMoviePlayerTimeUtilMetric.h"

#include "core/QMObjectRepository.h"
#include "core/QMVeyraPlugin.h"

namespace veyrakit {

QMMPMoviePlayerTimeUtilMetric::QMMPMoviePlayerTimeUtilMetric()
    : plugin_(QMObjectRepository::getRepositoryInstance()->plugin()) {}

bool QMMPMoviePlayerTimeUtilMetric::reportsAlive() const { return false; }

}  // namespace veyrakit
