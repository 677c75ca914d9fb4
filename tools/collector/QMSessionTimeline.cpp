#include "collector/QMSessionTimeline.h"

#include <algorithm>
#include <map>
#include <set>
#include <string>

#include "collector/QMBoundedJSON.h"
#include "collector/QMDiagnosticSummary.h"

namespace veyrakit {

namespace {

using Json = nlohmann::ordered_json;

Json parsedOrText(const std::string& text) {
    auto parsed = veyrakit::QMBoundedJSON::parse(text);
    return parsed ? std::move(*parsed) : Json(text);
}

Json orNull(const std::optional<int64_t>& value) { return value ? Json(*value) : Json(); }

Json numberAt(const Json& body, const char* key) {
    auto it = body.find(key);
    return it == body.end() ? Json() : orNull(QMSessionView::numberOf(*it));
}

bool isScalarList(const Json& value) {
    for (const auto& element : value) {
        if (element.is_structured()) return false;
    }
    return true;
}

// The keys a timeline row shows on their own, not among its values.
const std::set<std::string> kRowKeys{"type", "sessionId", "pulseNumber", "periodicalNumber"};

}  // namespace

nlohmann::ordered_json QMSessionTimeline::build(const QMSessionView& view,
                                                const std::vector<QMProtocolCheck>& checks) {
    return {{"timeline", timeline(view)},
            {"intervals", intervals(view)},
            {"bitrate", bitrate(view)},
            {"diagnosticEvents", diagnosticEvents(view)},
            {"checks", checkList(view, checks)}};
}

nlohmann::ordered_json QMSessionTimeline::timeline(const QMSessionView& view) {
    Json rows = Json::array();
    if (view.requests().empty()) return rows;
    const int64_t start = view.requests().front().receivedMillis;
    std::set<int64_t> retransmissions;
    for (const auto& report : view.reports()) {
        if (report.retransmission) retransmissions.insert(report.request->id);
    }
    for (const auto& request : view.requests()) {
        Json row = entry(request, start);
        row["retransmission"] = retransmissions.contains(request.id);
        rows.push_back(std::move(row));
    }
    return rows;
}

nlohmann::ordered_json QMSessionTimeline::entry(const QMCollectorRequest& request, int64_t start) {
    Json body = request.bodyJSON().value_or(Json());
    if (!body.is_object()) body = Json::object();
    return {{"id", request.id},
            {"offsetMs", request.receivedMillis - start},
            {"kind", kindOf(request, body)},
            {"pulseNumber", numberAt(body, "pulseNumber")},
            {"periodicalNumber", numberAt(body, "periodicalNumber")},
            {"values", keyValues(request, body)},
            {"answer", {{"status", request.answerStatus}, {"body", parsedOrText(request.answerBody)}}}};
}

// "init", a report's type ("P", "J" …; "report" without one), the diagnostic stream's endpoint
// name, or "other".
nlohmann::ordered_json QMSessionTimeline::kindOf(const QMCollectorRequest& request,
                                                 const nlohmann::ordered_json& body) {
    if (request.endpoint != QMCollectorEndpoint::Report)
        return QMCollectorRequest::endpointName(request.endpoint);
    auto type = body.find("type");
    return type != body.end() && type->is_string() ? type->get<std::string>() : std::string("report");
}

// A start request: what is played; a report: its values, a list of records by its length; a
// diagnostic post: how many events and which indexes (whether the stream is whole shows there).
nlohmann::ordered_json QMSessionTimeline::keyValues(const QMCollectorRequest& request,
                                                    const nlohmann::ordered_json& body) {
    Json values = Json::object();
    if (request.endpoint == QMCollectorEndpoint::Init) {
        for (const char* key : {"assetId", "assetType", "streamType", "mediaUrl"}) {
            if (body.contains(key)) values[key] = body[key];
        }
    } else if (request.endpoint == QMCollectorEndpoint::Report) {
        for (const auto& [key, value] : body.items()) {
            if (kRowKeys.contains(key)) continue;
            bool shown = !value.is_structured() || (value.is_array() && isScalarList(value));
            values[key] = shown ? value : Json(std::to_string(value.size()) + " entries");
        }
    } else if (request.endpoint != QMCollectorEndpoint::Other) {
        QMSessionView::DiagnosticPost post{&request, body};
        auto events = post.events();
        values["events"] = events.size();
        if (!events.empty()) {
            values["firstIndex"] = events.front().value("index", Json());
            values["lastIndex"] = events.back().value("index", Json());
        }
    }
    return values;
}

int64_t QMSessionTimeline::sessionTime(const QMSessionView& view, const QMSessionView::Report& report) {
    auto elapsed = QMSessionView::numberOf(report.body->value("totalElapsedTime", Json()));
    return elapsed ? *elapsed : report.request->receivedMillis - view.requests().front().receivedMillis;
}

nlohmann::ordered_json QMSessionTimeline::intervals(const QMSessionView& view) {
    Json rows = Json::array();
    for (const auto* report : view.periodicalReports()) {
        const Json& body = *report->body;
        rows.push_back({{"periodicalNumber", body.value("periodicalNumber", Json())},
                        {"atMs", sessionTime(view, *report)},
                        {"bufferingMs", numberAt(body, "currentBufferingTime")},
                        {"playingMs", numberAt(body, "currentPlayingTime")},
                        {"viewedMs", numberAt(body, "currentViewedTime")},
                        {"fullScreenMs", numberAt(body, "currentFullScreenTime")},
                        {"totalBufferingMs", numberAt(body, "totalBufferingTime")},
                        {"totalPlayingMs", numberAt(body, "totalPlayingTime")},
                        {"totalViewedMs", numberAt(body, "totalViewedTime")},
                        {"totalFullScreenMs", numberAt(body, "totalFullScreenTime")}});
    }
    return rows;
}

nlohmann::ordered_json QMSessionTimeline::bitrate(const QMSessionView& view) {
    Json steps = Json::array();
    std::optional<int64_t> previous;
    for (const auto* report : view.periodicalReports()) {
        auto value = QMSessionView::numberOf(report->body->value("currentBitRate", Json()));
        if (!value) continue;
        steps.push_back({{"periodicalNumber", report->body->value("periodicalNumber", Json())},
                         {"atMs", sessionTime(view, *report)},
                         {"bitrate", *value},
                         {"switch", previous.has_value() && *previous != *value}});
        previous = value;
    }
    return steps;
}

// Times from the first event of either stream, on the players' own clock (the events'
// "timestamp"); names in order of first appearance, as the summary's events by name.
nlohmann::ordered_json QMSessionTimeline::diagnosticEvents(const QMSessionView& view) {
    std::vector<std::pair<std::string, int64_t>> events;
    for (const auto& post : view.sessionEventPosts()) {
        for (const auto& event : post.events()) {
            auto name = event.find("name");
            events.emplace_back(name != event.end() && name->is_string() ? name->get<std::string>() : "?",
                                QMSessionView::numberOf(event.value("timestamp", Json())).value_or(0));
        }
    }
    for (const auto& post : view.diagnosticEventPosts()) {
        for (const auto& event : post.events()) {
            auto name = event.find("name");
            events.emplace_back(name != event.end() && name->is_string()
                                    ? QMDiagnosticSummary::movieEventKey(name->get<std::string>())
                                    : "?",
                                QMSessionView::numberOf(event.value("timestamp", Json())).value_or(0));
        }
    }
    int64_t first = events.empty() ? 0 : events.front().second;
    for (const auto& [name, timestamp] : events) first = std::min(first, timestamp);
    Json names = Json::array();
    std::map<std::string, size_t> rowOf;
    for (const auto& [name, timestamp] : events) {
        auto [row, added] = rowOf.try_emplace(name, names.size());
        if (added) names.push_back({{"name", name}, {"atMs", Json::array()}});
        // The players' timestamps may lie anywhere in 64 bits: their distance from the first,
        // never negative, always fits an unsigned one.
        names[row->second]["atMs"].push_back(static_cast<uint64_t>(timestamp) - static_cast<uint64_t>(first));
    }
    return {{"firstTimestamp", events.empty() ? Json() : Json(first)}, {"names", names}};
}

nlohmann::ordered_json QMSessionTimeline::checkList(const QMSessionView& view,
                                                    const std::vector<QMProtocolCheck>& checks) {
    std::map<int64_t, Json> rows;
    if (!view.requests().empty()) {
        for (const auto& request : view.requests()) {
            Json row = entry(request, view.requests().front().receivedMillis);
            rows[request.id] = {{"id", row["id"]},
                                {"offsetMs", row["offsetMs"]},
                                {"kind", row["kind"]},
                                {"pulseNumber", row["pulseNumber"]}};
        }
    }
    Json list = Json::array();
    for (const auto& check : checks) {
        Json item = check.toJSON();
        for (auto& violation : item["violations"]) {
            auto row = rows.find(violation["requestId"].get<int64_t>());
            violation["request"] = row == rows.end() ? Json() : row->second;
        }
        list.push_back(std::move(item));
    }
    return list;
}

}  // namespace veyrakit
