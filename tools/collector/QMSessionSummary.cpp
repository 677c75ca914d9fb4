#include "collector/QMSessionSummary.h"

#include <optional>

#include "collector/QMDiagnosticSummary.h"

namespace veyrakit {

namespace {

using Json = nlohmann::ordered_json;
using Report = QMSessionView::Report;

Json orNull(const std::optional<int64_t>& value) { return value ? Json(*value) : Json(); }

// The newest value of a key, taken from the periodical reports in their numbered order.
std::optional<int64_t> latest(const std::vector<const Report*>& periodical, const char* key) {
    for (auto it = periodical.rbegin(); it != periodical.rend(); ++it) {
        auto value = (*it)->body->find(key);
        if (value != (*it)->body->end()) return QMSessionView::numberOf(*value);
    }
    return std::nullopt;
}

Json intervals(const std::vector<const Report*>& periodical, const char* key) {
    Json values = Json::array();
    for (const auto* report : periodical) {
        auto value = report->body->find(key);
        if (value != report->body->end()) values.push_back(orNull(QMSessionView::numberOf(*value)));
    }
    return values;
}

}  // namespace

nlohmann::ordered_json QMSessionSummary::build(const QMSessionView& view) {
    Json summary = overview(view);
    addTimes(view, summary);
    addBitrates(view, summary);
    addOutcome(view, summary);
    return summary;
}

nlohmann::ordered_json QMSessionSummary::overview(const QMSessionView& view) {
    const auto& requests = view.requests();
    Json summary{{"sessionId", view.sessionId()},
                 {"known", view.known()},
                 {"state", QMSessionView::stateName(view.state())}};
    const std::string& plugin = QMSessionView::pluginName(view.plugin());
    summary["plugin"] = plugin.empty() ? Json() : Json(plugin);
    int64_t first = requests.empty() ? 0 : requests.front().receivedMillis;
    int64_t last = requests.empty() ? 0 : requests.back().receivedMillis;
    summary["startedAt"] = requests.empty() ? Json() : Json(first);
    summary["lastRequestAt"] = requests.empty() ? Json() : Json(last);
    summary["spanMs"] = last - first;
    summary["asset"] = asset(view);
    summary["requests"] = requests.size();
    summary["reports"] = reportCounts(view);
    return summary;
}

nlohmann::ordered_json QMSessionSummary::asset(const QMSessionView& view) {
    Json asset = Json::object();
    if (view.initRequest() == nullptr) return asset;
    auto body = view.initRequest()->bodyJSON();
    if (!body || !body->is_object()) return asset;
    for (const char* key :
         {"assetId", "assetName", "assetType", "qmrCID", "viewerId", "mediaUrl", "streamType"}) {
        if (body->contains(key)) asset[key] = (*body)[key];
    }
    return asset;
}

nlohmann::ordered_json QMSessionSummary::reportCounts(const QMSessionView& view) {
    Json counts = Json::object();
    size_t retransmissions = 0;
    for (const auto& report : view.reports()) {
        if (report.retransmission) {
            ++retransmissions;
            continue;
        }
        std::string type = report.type.value_or("?");
        counts[type] = counts.value(type, 0) + 1;
    }
    counts["retransmissions"] = retransmissions;
    return counts;
}

void QMSessionSummary::addTimes(const QMSessionView& view, nlohmann::ordered_json& summary) {
    auto periodical = view.periodicalReports();
    auto joins = view.reportsOfType("J");
    summary["joinTimeMs"] = joins.empty() ? Json() : joins.front()->body->value("joinTime", Json());
    auto buffering = latest(periodical, "totalBufferingTime");
    auto playing = latest(periodical, "totalPlayingTime");
    summary["totalBufferingMs"] = orNull(buffering);
    summary["intervalBufferingMs"] = intervals(periodical, "currentBufferingTime");
    // Summed as doubles: two reported 64-bit times may overflow an integer sum.
    const double total =
        buffering && playing ? static_cast<double>(*buffering) + static_cast<double>(*playing) : 0;
    summary["rebufferingRatio"] = total > 0 ? Json(static_cast<double>(*buffering) / total) : Json();
    summary["playingTimeMs"] = orNull(playing);
    summary["intervalPlayingMs"] = intervals(periodical, "currentPlayingTime");
    summary["viewedTimeMs"] = orNull(latest(periodical, "totalViewedTime"));
    summary["fullScreenTimeMs"] = orNull(latest(periodical, "totalFullScreenTime"));
    summary["elapsedTimeMs"] = orNull(latest(periodical, "totalElapsedTime"));
    auto durations = view.reportsOfType("D");
    auto duration = durations.empty()
                        ? latest(periodical, "assetDuration")
                        : QMSessionView::numberOf(durations.front()->body->value("duration", Json()));
    summary["durationSeconds"] = orNull(duration);
}

void QMSessionSummary::addBitrates(const QMSessionView& view, nlohmann::ordered_json& summary) {
    Json timeline = Json::array();
    int switches = 0;
    std::optional<int64_t> previous;
    for (const auto* report : view.periodicalReports()) {
        auto bitrate = QMSessionView::numberOf(report->body->value("currentBitRate", Json()));
        if (!bitrate) continue;
        if (previous && *previous != *bitrate) ++switches;
        previous = bitrate;
        timeline.push_back({{"periodicalNumber", report->body->value("periodicalNumber", Json())},
                            {"receivedAt", report->request->receivedMillis},
                            {"bitrate", *bitrate}});
    }
    summary["bitrateTimeline"] = timeline;
    summary["bitrateSwitches"] = switches;
    auto available = view.reportsOfType("B");
    summary["availableBitrates"] =
        available.empty() ? Json() : available.back()->body->value("bitrates", Json());
}

void QMSessionSummary::addOutcome(const QMSessionView& view, nlohmann::ordered_json& summary) {
    summary["completed"] = view.state() == QMSessionView::State::Completed;
    summary["errors"] = view.reportsOfType("E").size();
    Json faults = Json::array();
    for (const auto* fault : view.reportsOfType("F")) {
        faults.push_back({{"errorCode", fault->body->value("errorCode", Json())},
                          {"playerVersion", fault->body->value("playerVersion", Json())}});
    }
    summary["faultReports"] = faults;
    size_t logLines = 0;
    for (const auto* log : view.reportsOfType("L")) {
        auto entries = log->body->find("logArray");
        if (entries != log->body->end() && entries->is_array()) logLines += entries->size();
    }
    summary["logLines"] = logLines;
    QMDiagnosticSummary::add(view, summary);
}

}  // namespace veyrakit
