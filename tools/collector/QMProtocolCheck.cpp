#include "collector/QMProtocolCheck.h"

#include <array>

namespace veyrakit {

QMProtocolCheck::QMProtocolCheck(std::string name, std::string description)
    : name_(std::move(name)), description_(std::move(description)) {}

void QMProtocolCheck::fail(int64_t requestId, std::string message) {
    status_ = Status::Failed;
    violations_.push_back(Violation{requestId, std::move(message)});
}

void QMProtocolCheck::setUndecided(Status status) {
    if (status_ != Status::Failed) status_ = status;
}

nlohmann::ordered_json QMProtocolCheck::toJSON() const {
    nlohmann::ordered_json violations = nlohmann::ordered_json::array();
    for (const auto& violation : violations_) {
        violations.push_back({{"requestId", violation.requestId}, {"message", violation.message}});
    }
    return {{"name", name_},
            {"description", description_},
            {"status", statusName(status_)},
            {"violations", violations}};
}

const std::string& QMProtocolCheck::statusName(Status status) {
    static const std::array<std::string, 4> names{"passed", "failed", "pending", "notApplicable"};
    return names.at(static_cast<size_t>(status));
}

}  // namespace veyrakit
