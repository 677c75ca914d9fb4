#pragma once
#include <cstddef>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "collector/QMProtocolCheck.h"

namespace veyrakit {

// A session's summary and the results of its protocol checks.
// The implicit move is noexcept; what the exception check sees in it is the JSON value's invariant
// assertion, which never throws.
// NOLINTNEXTLINE(bugprone-exception-escape)
class QMSessionAnalysis {
  public:
    std::string sessionId;
    bool known = false;
    std::string state;  // "active", "completed", "error", "endedByServer", "abandoned", "ended"
    std::string phase;  // "running", "ended", "destroyed"
    nlohmann::ordered_json summary;
    std::vector<QMProtocolCheck> checks;

    // No check failed (pending and not applicable ones do not count against it).
    bool passed() const;
    size_t violationCount() const;
    size_t checkCount(QMProtocolCheck::Status status) const;
    // The check with this name, or nullptr.
    const QMProtocolCheck* check(const std::string& name) const;
    nlohmann::ordered_json toJSON() const;
};

}  // namespace veyrakit
