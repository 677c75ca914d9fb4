#pragma once
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "metrics/QMStateHistoryEntry.h"
#include "veyrakit/platform/QMObject.h"

namespace veyrakit {

// A named condition of the player ("buffering", "playing", ...) with the closed intervals during
// which it held and the interval that is open now.
class QMState : public QMObject {
  public:
    using History = std::vector<std::shared_ptr<QMStateHistoryEntry>>;

    explicit QMState(std::string name);  // initWithName:
    static std::shared_ptr<QMState> stateWithName(const std::string& name);

    // Opens an interval at `time` unless one is open already: a re-entrance keeps the first
    // entrance time and is not counted. `stateName` is used only in log lines.
    void enterStateWithTime(int64_t time, const std::string& stateName);
    // Closes the open interval at `time` and archives it. Without an open interval only an error
    // line is logged. Throws QMIllegalTimeStampException (the interval stays open) when `time`
    // lies before the entrance.
    void exitStateWithTime(int64_t time, const std::string& stateName);
    // Empties the archive; an open interval stays open.
    void clearHistory();

    // Closed durations plus the open interval counted up to the moment of the call.
    int64_t getStateTotalTime() const;
    // Mean interval length in ms, the open interval included; NaN for a state with no interval.
    double getStateAverageTime() const;
    int32_t getStateEntranceCount() const;
    bool isInState() const { return currentEntry_ != nullptr; }

    const std::string& name() const { return name_; }
    const History& stateHistory() const { return stateHistory_; }
    std::shared_ptr<QMStateHistoryEntry> currentEntry() const { return currentEntry_; }
    bool debugMode() const { return debugMode_; }
    void setDebugMode(bool debugMode) { debugMode_ = debugMode; }

  private:
    int64_t openIntervalUntilNow() const;

    std::string name_;
    History stateHistory_;
    std::shared_ptr<QMStateHistoryEntry> currentEntry_;
    bool debugMode_ = false;
};

}  // namespace veyrakit
