#include "collector/QMSessionAnalysis.h"

namespace veyrakit {

bool QMSessionAnalysis::passed() const { return violationCount() == 0; }

size_t QMSessionAnalysis::violationCount() const {
    size_t count = 0;
    for (const auto& each : checks) count += each.violations().size();
    return count;
}

size_t QMSessionAnalysis::checkCount(QMProtocolCheck::Status status) const {
    size_t count = 0;
    for (const auto& each : checks) count += each.status() == status ? 1 : 0;
    return count;
}

const QMProtocolCheck* QMSessionAnalysis::check(const std::string& name) const {
    for (const auto& each : checks) {
        if (each.name() == name) return &each;
    }
    return nullptr;
}

nlohmann::ordered_json QMSessionAnalysis::toJSON() const {
    nlohmann::ordered_json checkList = nlohmann::ordered_json::array();
    for (const auto& each : checks) checkList.push_back(each.toJSON());
    return {
        {"sessionId", sessionId},         {"known", known},     {"state", state},     {"passed", passed()},
        {"violations", violationCount()}, {"summary", summary}, {"checks", checkList}};
}

}  // namespace veyrakit
