#include "diagnostics/QMDiagnosticEventQueue.h"

#include <utility>

namespace veyrakit {

void QMDiagnosticEventQueue::record(const RecordBuilder& build) {
    std::lock_guard<std::mutex> lock(mutex_);
    events_.push_back(build(eventCount_));
    ++eventCount_;
}

QMJSON QMDiagnosticEventQueue::takeAll() {
    std::lock_guard<std::mutex> lock(mutex_);
    return std::exchange(events_, QMJSON::array());
}

bool QMDiagnosticEventQueue::empty() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return events_.empty();
}

int64_t QMDiagnosticEventQueue::nextIndex() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return eventCount_;
}

void QMDiagnosticEventQueue::reset() {
    std::lock_guard<std::mutex> lock(mutex_);
    events_ = QMJSON::array();
    eventCount_ = 1;
}

}  // namespace veyrakit
