#include "metrics/QMState.h"

#include <limits>
#include <utility>

#include "logging/QMLogger.h"
#include "platform/QMClock.h"
#include "platform/QMFormat.h"

namespace veyrakit {

namespace {
const std::string kStatePrefix = "SV";
}

QMState::QMState(std::string name) : name_(std::move(name)) {}

std::shared_ptr<QMState> QMState::stateWithName(const std::string& name) {
    return std::make_shared<QMState>(name);
}

void QMState::enterStateWithTime(int64_t time, const std::string& stateName) {
    if (debugMode_) {
        QMLogger::debug(QMFormat("enter state: %@", stateName), kStatePrefix);
    }
    if (!currentEntry_) {
        currentEntry_ = std::make_shared<QMStateHistoryEntry>();
        currentEntry_->setEntranceTime(time);
        return;
    }
    if (debugMode_) {
        QMLogger::debug(QMFormat("renter state: %@", stateName), kStatePrefix);
    }
}

void QMState::exitStateWithTime(int64_t time, const std::string& stateName) {
    if (!currentEntry_) {
        QMLogger::error(QMFormat("exit from state that not enter: %@", stateName), kStatePrefix);
        return;
    }
    if (debugMode_) {
        QMLogger::debug(QMFormat("exit state: %@", stateName), kStatePrefix);
    }
    // May throw; the entry then stays open and out of the history.
    currentEntry_->setExitTime(time);
    stateHistory_.push_back(std::move(currentEntry_));
    currentEntry_.reset();
}

void QMState::clearHistory() { stateHistory_ = History(); }

int64_t QMState::getStateTotalTime() const {
    int64_t total = 0;
    for (const auto& entry : stateHistory_) {
        total += entry->duration();
    }
    return total + openIntervalUntilNow();
}

double QMState::getStateAverageTime() const {
    const auto closed = stateHistory_.size();
    double sum = 0;
    for (const auto& entry : stateHistory_) {
        sum += static_cast<double>(entry->duration());
    }
    const auto intervals = closed + (currentEntry_ ? 1 : 0);
    if (intervals == 0) {
        // 0/0: callers receive NaN for a state that never held.
        return std::numeric_limits<double>::quiet_NaN();
    }
    return (sum + static_cast<double>(openIntervalUntilNow())) / static_cast<double>(intervals);
}

int32_t QMState::getStateEntranceCount() const {
    return static_cast<int32_t>(stateHistory_.size()) + (currentEntry_ ? 1 : 0);
}

int64_t QMState::openIntervalUntilNow() const {
    return currentEntry_ ? QMClock::currentTimeMillis() - currentEntry_->entranceTime() : 0;
}

}  // namespace veyrakit
