#include "gstreamer/QMCollectedReports.h"

#include <algorithm>
#include <map>

#include "collector/QMCollectorServer.h"

namespace veyrakit {

QMCollectedReports::QMCollectedReports(const QMCollectorServer& collector, const std::string& sessionId) {
    std::map<int, std::pair<Json, int64_t>> byPulse;
    for (const auto& request : collector.store().requestsOfSession(sessionId)) {
        auto body = request.bodyJSON();
        if (request.path == "/player/report" && body) {
            byPulse[(*body)["pulseNumber"].get<int>()] = {*body, request.receivedMillis};
        }
    }
    for (auto& [pulse, report] : byPulse) reports_.push_back(std::move(report));
}

std::string QMCollectedReports::types() const {
    std::string out;
    for (const auto& [report, at] : reports_) out += report["type"].get<std::string>();
    return out;
}

std::set<int64_t> QMCollectedReports::bitrates() const {
    std::set<int64_t> out;
    for (const auto& [report, at] : reports_) {
        if (report.contains("currentBitRate")) out.insert(report["currentBitRate"].get<int64_t>());
    }
    return out;
}

std::vector<QMCollectedReports::Json> QMCollectedReports::sessionEvents(const QMCollectorServer& collector,
                                                                        const std::string& sessionId) {
    std::vector<Json> events;
    for (const auto& request : collector.store().requestsOfSession(sessionId)) {
        auto body = request.bodyJSON();
        if (request.endpoint != QMCollectorEndpoint::SessionEvents || !body) continue;
        for (const auto& event : (*body)["events"]) events.push_back(event);
    }
    return events;
}

bool QMCollectedReports::hasSessionEvent(const QMCollectorServer& collector, const std::string& sessionId,
                                         const std::string& name) {
    const auto events = sessionEvents(collector, sessionId);
    return std::any_of(events.begin(), events.end(),
                       [&](const Json& event) { return event["name"] == name; });
}

}  // namespace veyrakit
