#pragma once
#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "metrics/QMMetric.h"
#include "metrics/QMState.h"

namespace veyrakit {

// A metric that measures time in named states, created on their first entrance.
class QMStatefulMetric : public QMMetric {
  public:
    using States = std::map<std::string, std::shared_ptr<QMState>>;

    QMStatefulMetric() = default;

    // Creates the state on first use; the entered state becomes lastActiveState, also when it
    // was open already.
    void enterStateWithName(const std::string& name, int64_t entranceTime);
    void enterStateWithName(const std::string& name);  // now
    // Throws QMIllegalStateException for a state never entered; clears lastActiveState whichever
    // state is left.
    void exitStateWithName(const std::string& name, int64_t exitTime);
    void exitStateWithName(const std::string& name);  // now

    std::shared_ptr<QMState> loadState(const std::string& name) const;  // null when unknown
    // Throws QMIllegalStateException for a state never entered.
    void clearHistory(const std::string& name);
    // Whether the named state is open now (not a comparison with lastActiveState); false for an
    // unknown name.
    bool isLastActiveState(const std::string& name) const;
    std::shared_ptr<QMState> lastActiveState() const { return lastActiveState_; }

  protected:
    const States& states() const { return states_; }

  private:
    std::shared_ptr<QMState> requireState(const std::string& name) const;

    States states_;
    std::shared_ptr<QMState> lastActiveState_;
};

}  // namespace veyrakit
