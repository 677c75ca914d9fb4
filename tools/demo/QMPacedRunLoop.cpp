#include "demo/QMPacedRunLoop.h"

namespace veyrakit {

QMPacedRunLoop::QMPacedRunLoop(double speed, int64_t startMillis)
    : QMVirtualRunLoop(startMillis), speed_(speed) {}

void QMPacedRunLoop::idleUntil(int64_t wakeMicros) {
    const bool jumpAhead = wakeMicros != kForever && transferCount() == 0 && !hasPendingTasks();
    if (jumpAhead && wakeMicros > monotonicMicros()) {
        // A post from another thread cuts the wait short; the jump is then made on a later pass.
        pollIO(static_cast<int64_t>(static_cast<double>(wakeMicros - monotonicMicros()) / speed_));
    }
    QMVirtualRunLoop::idleUntil(wakeMicros);
}

}  // namespace veyrakit
