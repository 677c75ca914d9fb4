#include "metrics/QMStatefulMetric.h"

#include "platform/QMClock.h"
#include "platform/QMException.h"
#include "platform/QMFormat.h"

namespace veyrakit {

void QMStatefulMetric::enterStateWithName(const std::string& name, int64_t entranceTime) {
    auto& state = states_[name];
    if (!state) {
        state = QMState::stateWithName(name);
    }
    state->enterStateWithTime(entranceTime, name);
    lastActiveState_ = state;
}

void QMStatefulMetric::enterStateWithName(const std::string& name) {
    enterStateWithName(name, QMClock::currentTimeMillis());
}

void QMStatefulMetric::exitStateWithName(const std::string& name, int64_t exitTime) {
    requireState(name)->exitStateWithTime(exitTime, name);
    // Any exit forgets the last entered state, even an exit of a different one.
    lastActiveState_.reset();
}

void QMStatefulMetric::exitStateWithName(const std::string& name) {
    exitStateWithName(name, QMClock::currentTimeMillis());
}

std::shared_ptr<QMState> QMStatefulMetric::loadState(const std::string& name) const {
    auto it = states_.find(name);
    return it == states_.end() ? nullptr : it->second;
}

void QMStatefulMetric::clearHistory(const std::string& name) { requireState(name)->clearHistory(); }

bool QMStatefulMetric::isLastActiveState(const std::string& name) const {
    auto state = loadState(name);
    return state && state->isInState();
}

std::shared_ptr<QMState> QMStatefulMetric::requireState(const std::string& name) const {
    auto state = loadState(name);
    if (!state) {
        throw QMIllegalStateException(QMFormat("QMState %@ does not exists.", name));
    }
    return state;
}

}  // namespace veyrakit
