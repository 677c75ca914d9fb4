#include "collector/QMSessionView.h"

#include <algorithm>
#include <array>
#include <set>

#include "collector/QMBoundedJSON.h"
#include "collector/QMCollectorPolicy.h"
#include "collector/QMReportSchema.h"

namespace veyrakit {

namespace {

using Json = nlohmann::ordered_json;

}  // namespace

QMSessionView::QMSessionView(std::string sessionId, bool known, std::vector<QMCollectorRequest> requests,
                             int64_t nowMillis, int64_t idleMillis, bool assumeFinished)
    : sessionId_(std::move(sessionId)), known_(known), requests_(std::move(requests)) {
    sortRequests();
    plugin_ = computePlugin();
    state_ = computeState(nowMillis, idleMillis, assumeFinished);
}

void QMSessionView::sortRequests() {
    std::set<std::string> bodiesSeen;
    for (const auto& request : requests_) {
        if (request.endpoint == QMCollectorEndpoint::Init && initRequest_ == nullptr) initRequest_ = &request;
        if (request.endpoint == QMCollectorEndpoint::SessionEvents ||
            request.endpoint == QMCollectorEndpoint::DiagnosticEvents) {
            DiagnosticPost post{&request, std::nullopt};
            if (auto json = request.bodyJSON(); json && json->is_object()) post.body = std::move(*json);
            auto& posts = request.endpoint == QMCollectorEndpoint::SessionEvents ? sessionEventPosts_
                                                                                 : diagnosticEventPosts_;
            posts.push_back(std::move(post));
        }
        if (request.endpoint != QMCollectorEndpoint::Report) continue;
        Report report;
        report.request = &request;
        auto json = request.bodyJSON();
        if (json && json->is_object()) {
            report.body = *json;
            auto type = json->find("type");
            if (type != json->end() && type->is_string()) report.type = type->get<std::string>();
        }
        report.retransmission = !bodiesSeen.insert(request.body).second;
        reports_.push_back(std::move(report));
    }
}

std::vector<const QMSessionView::Report*> QMSessionView::reportsOfType(const std::string& type) const {
    std::vector<const Report*> result;
    for (const auto& report : reports_) {
        if (!report.retransmission && report.type == type) result.push_back(&report);
    }
    return result;
}

std::vector<const QMSessionView::Report*> QMSessionView::periodicalReports() const {
    auto result = reportsOfType("P");
    auto number = [](const Report* report) {
        return numberOf(report->body->value("periodicalNumber", Json())).value_or(INT64_MAX);
    };
    std::stable_sort(result.begin(), result.end(),
                     [&](const Report* a, const Report* b) { return number(a) < number(b); });
    return result;
}

std::vector<const QMCollectorRequest*> QMSessionView::diagnosticPosts() const {
    std::vector<const QMCollectorRequest*> result;
    for (const auto& request : requests_) {
        if (request.endpoint == QMCollectorEndpoint::DiagnosticEvents ||
            request.endpoint == QMCollectorEndpoint::SessionEvents) {
            result.push_back(&request);
        }
    }
    return result;
}

std::vector<nlohmann::ordered_json> QMSessionView::DiagnosticPost::events() const {
    std::vector<Json> result;
    if (!body) return result;
    auto events = body->find("events");
    if (events == body->end() || !events->is_array()) return result;
    for (const auto& event : *events) {
        if (event.is_object()) result.push_back(event);
    }
    return result;
}

nlohmann::ordered_json QMSessionView::DiagnosticPost::session() const {
    if (!body) return Json();
    return body->value("session", Json());
}

QMSessionView::State QMSessionView::computeState(int64_t nowMillis, int64_t idleMillis,
                                                 bool assumeFinished) const {
    for (const auto* report : reportsOfType("P")) {
        if (report->body->value("playbackCompleted", Json()) == true) return State::Completed;
    }
    if (!reportsOfType("E").empty()) return State::Error;
    if (serverEndedSession()) return State::EndedByServer;
    int64_t last = requests_.empty() ? nowMillis : requests_.back().receivedMillis;
    if (assumeFinished || nowMillis - last > idleMillis)
        return plugin_ == Plugin::MPMoviePlayerController ? State::Ended : State::Abandoned;
    return State::Active;
}

// The first periodical report decides; the value checks then hold the rest to its kind.
QMSessionView::Plugin QMSessionView::computePlugin() const {
    auto periodical = periodicalReports();
    if (periodical.empty()) return Plugin::Unknown;
    const Json& first = *periodical.front()->body;
    bool moviePlayer = first.contains("playing") && first["playing"].is_boolean() && !first.contains("alive");
    return moviePlayer ? Plugin::MPMoviePlayerController : Plugin::AVPlayer;
}

const std::string& QMSessionView::pluginName(Plugin plugin) {
    static const std::array<std::string, 3> names{"", "iOS-AVPlayer", "iOS-MPMoviePlayerController"};
    return names.at(static_cast<size_t>(plugin));
}

// An answer of -1 or -2 to a periodical report makes the client end the session.
bool QMSessionView::serverEndedSession() const {
    for (const auto* report : reportsOfType("P")) {
        auto answer = veyrakit::QMBoundedJSON::parse(report->request->answerBody);
        if (!answer || !answer->is_object() || !answer->contains("skipReports")) continue;
        int64_t skip = QMCollectorPolicy::integerValue((*answer)["skipReports"]);
        if (skip == -1 || skip == -2) return true;
    }
    return false;
}

const std::string& QMSessionView::stateName(State state) {
    static const std::array<std::string, 6> names{"active",        "completed", "error",
                                                  "endedByServer", "abandoned", "ended"};
    return names.at(static_cast<size_t>(state));
}

const std::string& QMSessionView::phaseName(State state) {
    static const std::array<std::string, 6> names{"running",   "ended",     "destroyed",
                                                  "destroyed", "destroyed", "ended"};
    return names.at(static_cast<size_t>(state));
}

std::optional<int64_t> QMSessionView::numberOf(const nlohmann::ordered_json& value) {
    if (value.is_number_integer()) return value.get<int64_t>();
    // Up to 18 digits, so that the conversion cannot overflow.
    if (value.is_string() && value.get<std::string>().size() < 19 &&
        QMReportSchema::isDecimalText(value.get<std::string>())) {
        return std::stoll(value.get<std::string>());
    }
    return std::nullopt;
}

}  // namespace veyrakit
