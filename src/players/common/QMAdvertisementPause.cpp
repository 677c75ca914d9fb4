#include "players/common/QMAdvertisementPause.h"

namespace veyrakit {

QMAdvertisementPause::~QMAdvertisementPause() = default;

void QMAdvertisementPause::pauseMetricCollection() { isActive_ = false; }

void QMAdvertisementPause::resumeMetricCollection() { isActive_ = true; }

}  // namespace veyrakit
