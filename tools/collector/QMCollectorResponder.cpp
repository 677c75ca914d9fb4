#include "collector/QMCollectorResponder.h"

#include <cstdio>

namespace veyrakit {

namespace {

using Json = nlohmann::ordered_json;

// The session start answer's keys, in the order the answer lists them.
const std::vector<std::string>& initAnswerKeys() {
    static const std::vector<std::string> keys{"logQueueSize", "sendLog", "intervalSeconds", "skipReports"};
    return keys;
}

void putIfPresent(Json& body, const std::string& key, const std::optional<Json>& value) {
    if (value) body[key] = *value;
}

}  // namespace

QMCollectorResponder::QMCollectorResponder(QMCollectorPolicy policy)
    : policy_(std::move(policy)), random_(std::random_device{}()) {}

QMCollectorResponder::Answer QMCollectorResponder::answerInit() {
    std::lock_guard lock(mutex_);
    size_t index = initCount_++;
    Answer answer;
    answer.status = static_cast<int>(policy_.valueAt("init.status", index).value_or(200).get<int>());
    Json body = Json::object();
    if (policy_.valueAt("init.refuse", index).value_or(false).get<bool>()) {
        body["skipReports"] = "-1";
        answer.body = body.dump();
        return answer;
    }
    for (const auto& key : initAnswerKeys()) putIfPresent(body, key, policy_.valueAt("init." + key, index));
    if (continuesSession(answer.status, policy_.valueAt("init.skipReports", index), index)) {
        answer.issuedSessionId = newSessionId();
        body["sessionId"] = *answer.issuedSessionId;
    }
    putIfPresent(body, "offerViewerId", policy_.valueAt("init.offerViewerId", index));
    answer.body = body.dump();
    return answer;
}

bool QMCollectorResponder::continuesSession(int status,
                                            const std::optional<nlohmann::ordered_json>& skipReports,
                                            size_t index) const {
    if (status != 200) return false;
    if (!policy_.valueAt("init.issueSessionId", index).value_or(true).get<bool>()) return false;
    int64_t skip = skipReports ? QMCollectorPolicy::integerValue(*skipReports) : 0;
    return skip <= 0 && skip != -1;
}

QMCollectorResponder::Answer QMCollectorResponder::answerReport(const std::optional<std::string>& sessionId,
                                                                const std::optional<std::string>& type) {
    std::lock_guard lock(mutex_);
    Counters& counters = counters_[sessionId.value_or("")];
    Answer answer;
    Json body = Json::object();
    if (type == "P") {
        size_t index = counters.periodical++;
        answer.status = policy_.valueAt("report.status", index).value_or(200).get<int>();
        putIfPresent(body, "skipReports", policy_.valueAt("report.skipReports", index));
    } else {
        answer.status = policy_.valueAt("onDemand.status", counters.onDemand++).value_or(200).get<int>();
    }
    answer.body = body.dump();
    return answer;
}

QMCollectorResponder::Answer QMCollectorResponder::answerDiagnostic() {
    return Answer{200, "{}", std::nullopt};
}

std::string QMCollectorResponder::newSessionId() {
    uint64_t high = random_();
    uint64_t low = random_();
    high = (high & ~0xF000ULL) | 0x4000ULL;            // version 4
    low = (low & ~(0xC0ULL << 56)) | (0x80ULL << 56);  // RFC 4122 variant
    char text[37];
    std::snprintf(text, sizeof text, "%08X-%04X-%04X-%04X-%012llX", static_cast<unsigned>(high >> 32),
                  static_cast<unsigned>((high >> 16) & 0xFFFF), static_cast<unsigned>(high & 0xFFFF),
                  static_cast<unsigned>(low >> 48), static_cast<unsigned long long>(low & 0xFFFFFFFFFFFFULL));
    return text;
}

}  // namespace veyrakit
