#include "veyrakit/platform/QMURLLoadingLimits.h"

#include <atomic>

namespace veyrakit {

namespace {

// Exchanges start on the main loop and on the shared session's worker: the values are atomic.
std::atomic<std::size_t>& maximumLength() {
    static std::atomic<std::size_t> value{QMURLLoadingLimits::kDefaultMaximumResponseLength};
    return value;
}

std::atomic<double>& defaultTimeout() {
    static std::atomic<double> value{QMURLLoadingLimits::kDefaultTimeoutInterval};
    return value;
}

}  // namespace

std::size_t QMURLLoadingLimits::maximumResponseLength() { return maximumLength().load(); }

void QMURLLoadingLimits::setMaximumResponseLength(std::size_t bytes) { maximumLength().store(bytes); }

double QMURLLoadingLimits::defaultTimeoutInterval() { return defaultTimeout().load(); }

void QMURLLoadingLimits::setDefaultTimeoutInterval(double seconds) {
    defaultTimeout().store(seconds > 0 ? seconds : kDefaultTimeoutInterval);
}

void QMURLLoadingLimits::reset() {
    setMaximumResponseLength(kDefaultMaximumResponseLength);
    setDefaultTimeoutInterval(kDefaultTimeoutInterval);
}

}  // namespace veyrakit
