#include "metrics/QMStateHistoryEntry.h"

#include "platform/QMException.h"
#include "platform/QMFormat.h"

namespace veyrakit {

void QMStateHistoryEntry::setExitTime(int64_t exitTime) {
    if (entranceTime_ > exitTime) {
        // The stored exit time, not the rejected one, goes into the reason (see header).
        throw QMIllegalTimeStampException(QMFormat(
            "End timestamp is sooner that start timestamp. [%lld] < [%lld]", exitTime_, entranceTime_));
    }
    exitTime_ = exitTime;
    duration_ = exitTime_ - entranceTime_;
}

}  // namespace veyrakit
