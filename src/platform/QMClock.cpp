#include "platform/QMClock.h"

#include "veyrakit/platform/QMRunLoop.h"

namespace veyrakit {

int64_t QMClock::currentTimeMicros() { return QMRunLoop::mainRunLoop()->nowMicros(); }

int64_t QMClock::currentTimeMillis() {
    const int64_t micros = currentTimeMicros();
    const int64_t seconds = micros / 1'000'000;
    const int64_t microsOfSecond = micros % 1'000'000;
    return seconds * 1000 + microsOfSecond / 1000;
}

double QMClock::timeIntervalSince1970() { return static_cast<double>(currentTimeMicros()) / 1e6; }

}  // namespace veyrakit
