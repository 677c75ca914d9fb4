#pragma once
#include <cstdint>

#include "veyrakit/platform/QMObject.h"

namespace veyrakit {

// One interval during which a named state held. Created empty (all three times 0), then given
// its entrance time; the exit time is validated against it when set.
class QMStateHistoryEntry : public QMObject {
  public:
    QMStateHistoryEntry() = default;

    int64_t entranceTime() const { return entranceTime_; }
    void setEntranceTime(int64_t entranceTime) { entranceTime_ = entranceTime; }

    int64_t exitTime() const { return exitTime_; }
    // Throws QMIllegalTimeStampException when the exit lies before the entrance. The reason is
    // built from the exit time stored so far (0 for an entry never closed), not from the
    // rejected argument: the servers' log tooling is used to that message.
    void setExitTime(int64_t exitTime);

    // exitTime - entranceTime, computed when the exit time is set; 0 until then.
    int64_t duration() const { return duration_; }

  private:
    int64_t entranceTime_ = 0;
    int64_t exitTime_ = 0;
    int64_t duration_ = 0;
};

}  // namespace veyrakit
