#include "collector/QMCollectorApi.h"

#include "collector/QMDiagnosticSummary.h"

namespace veyrakit {

namespace {

using Json = nlohmann::ordered_json;

Json requestList(const std::vector<QMCollectorRequest>& requests) {
    Json list = Json::array();
    for (const auto& request : requests) list.push_back(request.toJSON());
    return list;
}

}  // namespace

QMCollectorApi::QMCollectorApi(const QMCollectorStore& store, QMSessionAnalyzer analyzer)
    : store_(store), analyzer_(analyzer) {}

QMCollectorApi::Response QMCollectorApi::sessions(int64_t nowMillis, bool assumeFinished) const {
    Json list = Json::array();
    for (const auto& analysis : analyzer_.analyzeAll(store_, nowMillis, assumeFinished)) {
        const Json& summary = analysis.summary;
        const Json errors = summary.value("playbackErrors", Json::array());
        list.push_back(
            {{"sessionId", analysis.sessionId},
             {"known", analysis.known},
             {"state", analysis.state},
             {"phase", analysis.phase},
             {"plugin", summary["plugin"]},
             {"assetId", summary["asset"].value("assetId", Json())},
             {"assetName", summary["asset"].value("assetName", Json())},
             {"startedAt", summary["startedAt"]},
             {"lastRequestAt", summary["lastRequestAt"]},
             {"requests", summary["requests"]},
             {"joinTimeMs", summary["joinTimeMs"]},
             {"rebufferingRatio", summary["rebufferingRatio"]},
             {"playbackErrors", errors.size()},
             {"lastError", errors.empty() ? Json() : Json(QMDiagnosticSummary::errorLine(errors.back()))},
             {"checksPassed", analysis.checkCount(QMProtocolCheck::Status::Passed)},
             {"checksFailed", analysis.checkCount(QMProtocolCheck::Status::Failed)},
             {"passed", analysis.passed()},
             {"violations", analysis.violationCount()}});
    }
    return {200, {{"sessions", list}, {"requestsWithoutSession", store_.countRequestsWithoutSession()}}};
}

QMCollectorApi::Response QMCollectorApi::session(const std::string& sessionId, int64_t nowMillis,
                                                 bool assumeFinished) const {
    auto requests = store_.requestsOfSession(sessionId);
    if (requests.empty()) return {404, {{"error", "no request named session \"" + sessionId + "\""}}};
    bool known = store_.session(sessionId).has_value();
    Json body = analyzer_.analyze(sessionId, known, requests, nowMillis, assumeFinished).toJSON();
    body["requests"] = requestList(requests);
    return {200, body};
}

QMCollectorApi::Response QMCollectorApi::timeline(const std::string& sessionId, int64_t nowMillis,
                                                  bool assumeFinished) const {
    auto body = analyzer_.dashboard(store_, sessionId, nowMillis, assumeFinished);
    if (!body) return {404, {{"error", "no request named session \"" + sessionId + "\""}}};
    return {200, *body};
}

QMCollectorApi::Response QMCollectorApi::requests(const std::optional<std::string>& session,
                                                  int64_t afterId) const {
    if (!session) return {200, {{"requests", requestList(store_.requests())}}};
    if (*session == "none") return {200, {{"requests", requestList(store_.requestsWithoutSession())}}};
    return {200, {{"requests", requestList(store_.requestsOfSession(*session, afterId))}}};
}

}  // namespace veyrakit
