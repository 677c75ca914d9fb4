#include "logging/QMDateQuamira.h"

#include "platform/QMClock.h"

namespace veyrakit {

int64_t QMDateQuamira::currentTimeMillis() { return QMClock::currentTimeMillis(); }

std::string QMDateQuamira::toString(const QMDate& date) {
    return date.formatUTC("yyyy-MM-dd'T'HH:mm:ss.SSS'Z'");
}

std::shared_ptr<QMDate> QMDateQuamira::dateFromMillis(int64_t millis) {
    // Integer division first: whole seconds only, truncated toward zero.
    const int64_t wholeSeconds = millis / 1000;
    return QMDate::dateWithTimeIntervalSince1970(static_cast<double>(wholeSeconds));
}

}  // namespace veyrakit
