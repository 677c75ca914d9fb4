#include "players/avplayer/QMAVPlayerTimeUtilMetric.h"

#include "core/QMObjectRepository.h"
#include "core/QMVeyraPlugin.h"

QMAVPlayerTimeUtilMetric::QMAVPlayerTimeUtilMetric()
    : plugin_(QMObjectRepository::getRepositoryInstance()->plugin()) {}

bool QMAVPlayerTimeUtilMetric::reportsAlive() const { return true; }
