#pragma once
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace veyrakit {

// The outcome of one protocol rule over one session: passed, failed (with the requests that
// broke it), pending (the session is still running and the rule cannot be decided yet) or not
// applicable.
class QMProtocolCheck {
  public:
    enum class Status { Passed, Failed, Pending, NotApplicable };

    struct Violation {
        int64_t requestId = 0;
        std::string message;
    };

    QMProtocolCheck(std::string name, std::string description);

    const std::string& name() const { return name_; }
    const std::string& description() const { return description_; }
    Status status() const { return status_; }
    const std::vector<Violation>& violations() const { return violations_; }

    // Records a violation; the check has then failed.
    void fail(int64_t requestId, std::string message);
    // Pending and not applicable only stand while nothing failed.
    void setUndecided(Status status);

    nlohmann::ordered_json toJSON() const;
    static const std::string& statusName(Status status);

  private:
    std::string name_;
    std::string description_;
    Status status_ = Status::Passed;
    std::vector<Violation> violations_;
};

}  // namespace veyrakit
