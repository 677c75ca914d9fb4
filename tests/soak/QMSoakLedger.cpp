#include "soak/QMSoakLedger.h"

namespace veyrakit {

namespace {

const char* const kTotals[] = {"totalPlayingTime", "totalBufferingTime", "totalElapsedTime",
                               "totalViewedTime", "totalFullScreenTime"};

// Numbers go out as numbers or as decimal text, depending on the metric.
std::optional<int64_t> integerOf(const QMJSON& report, const char* key) {
    auto value = report.find(key);
    if (value == report.end()) {
        return std::nullopt;
    }
    if (value->is_number()) {
        return value->get<int64_t>();
    }
    if (value->is_string()) {
        try {
            return std::stoll(value->get<std::string>());
        } catch (const std::exception&) {
        }
    }
    return std::nullopt;
}

}  // namespace

void QMSoakLedger::record(const QMRecordedRequest& request) {
    if (!request.url.ends_with("/player/report") || !request.body) {
        return;
    }
    const auto report = QMJSONSerialization::JSONObjectWithData(*request.body);
    if (!report || !report->is_object() || !report->contains("sessionId")) {
        violation("?", "a report without a session id: " + *request.body);
        return;
    }
    const std::string id = QMDescription((*report)["sessionId"]);
    if (!report->contains("pulseNumber")) {
        return;  // a log report carries no pulse number
    }
    ++reports_;
    checkNumbers(sessions_[id], *report, *request.body, id);
}

void QMSoakLedger::checkNumbers(Session& session, const QMJSON& report, const std::string& body,
                                const std::string& id) {
    const int64_t pulse = integerOf(report, "pulseNumber").value_or(-1);
    if (pulse <= session.pulse) {
        auto earlier = session.bodiesByPulse.find(pulse);
        if (earlier != session.bodiesByPulse.end() && earlier->second == body) {
            ++retransmissions_;
        } else {
            violation(id, "pulse " + std::to_string(pulse) + " again with another body after " +
                              std::to_string(session.pulse));
        }
        return;
    }
    if (pulse != session.pulse + 1) {
        violation(id, "pulse " + std::to_string(pulse) + " follows " + std::to_string(session.pulse));
    }
    session.pulse = pulse;
    session.bodiesByPulse[pulse] = body;
    if (report.value("type", "") != "P") {
        return;
    }
    const int64_t periodical = integerOf(report, "periodicalNumber").value_or(-1);
    if (periodical != session.periodical + 1) {
        violation(id, "periodical " + std::to_string(periodical) + " follows " +
                          std::to_string(session.periodical));
    }
    session.periodical = periodical;
    checkTotals(session, report, id);
}

void QMSoakLedger::checkTotals(Session& session, const QMJSON& report, const std::string& id) {
    for (const char* key : kTotals) {
        const auto value = integerOf(report, key);
        if (!value) {
            continue;
        }
        auto& last = session.totals[key];
        if (*value < last) {
            violation(id, std::string(key) + " went down from " + std::to_string(last) + " to " +
                              std::to_string(*value));
        }
        last = *value;
    }
}

void QMSoakLedger::violation(const std::string& id, const std::string& what) {
    violations_.push_back("session " + id + ": " + what);
}

}  // namespace veyrakit
