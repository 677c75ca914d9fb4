#include "collector/QMProtocolChecks.h"

#include <algorithm>
#include <string>

#include "collector/QMReportSchema.h"

namespace veyrakit {

namespace {

using Json = nlohmann::ordered_json;
using Report = QMSessionView::Report;

struct Numbered {
    int64_t number;
    int64_t requestId;
};

std::string requestRef(int64_t requestId) { return "request #" + std::to_string(requestId); }

void checkHeaders(QMProtocolCheck& check, const QMCollectorRequest& request, const std::string& what) {
    if (request.method != "POST")
        check.fail(request.id, what + " sent with " + request.method + ", not POST");
    auto contentType = request.header("Content-Type");
    if (contentType != "application/json") {
        check.fail(request.id, what + " has Content-Type \"" + contentType.value_or("") +
                                   "\", expected \"application/json\"");
    }
    auto length = request.header("Content-Length");
    std::string bodyLength = std::to_string(request.body.size());
    if (length != bodyLength) {
        check.fail(request.id, what + " has Content-Length " + (length ? "\"" + *length + "\"" : "missing") +
                                   " for a body of " + bodyLength + " bytes");
    }
}

// Numbers must run 1, 2, 3 ... once each, whatever order they arrived in.
void checkRun(QMProtocolCheck& check, std::vector<Numbered> entries, const std::string& noun) {
    std::stable_sort(entries.begin(), entries.end(),
                     [](const Numbered& a, const Numbered& b) { return a.number < b.number; });
    int64_t previous = 0;
    int64_t previousRequest = 0;
    for (const auto& entry : entries) {
        if (entry.number == previous) {
            check.fail(entry.requestId, noun + " " + std::to_string(entry.number) + " used again (first by " +
                                            requestRef(previousRequest) + ")");
        } else if (entry.number != previous + 1) {
            std::string missing = std::to_string(previous + 1);
            if (entry.number > previous + 2) missing += " to " + std::to_string(entry.number - 1);
            check.fail(entry.requestId,
                       previous == 0 ? noun + "s start at " + std::to_string(entry.number) + " instead of 1"
                                     : noun + " " + std::to_string(entry.number) + " follows " +
                                           std::to_string(previous) + ": " + missing + " missing");
        }
        previous = entry.number;
        previousRequest = entry.requestId;
    }
}

std::optional<int64_t> integerKey(const Report& report, const char* key) {
    auto it = report.body->find(key);
    if (it == report.body->end() || !it->is_number_integer()) return std::nullopt;
    return it->get<int64_t>();
}

bool isMoviePlayer(const QMSessionView& view) {
    return view.plugin() == QMSessionView::Plugin::MPMoviePlayerController;
}

// What a movie player plugin's periodical report never carries, and its boolean "playing".
void checkMoviePlayerValues(QMProtocolCheck& check, const Report& report) {
    const Json& body = *report.body;
    for (const char* key : {"alive", "bufferingTimeLeadingToNow"}) {
        if (body.contains(key)) {
            check.fail(report.request->id,
                       std::string("a periodical report of an MPMoviePlayerController session carries \"") +
                           key + "\"");
        }
    }
    auto playing = body.find("playing");
    if (playing != body.end() && !playing->is_boolean()) {
        check.fail(report.request->id, "\"playing\" is " + playing->dump() +
                                           ", expected a boolean from an MPMoviePlayerController");
    }
}

// A movie player announces its duration or not (live): only a reported duration calls for "D".
bool durationWasAnnounced(const QMSessionView& view) {
    if (!isMoviePlayer(view)) return true;
    for (const auto* report : view.periodicalReports()) {
        auto duration = QMSessionView::numberOf(report->body->value("assetDuration", Json()));
        if (duration.value_or(0) != 0) return true;
    }
    return false;
}

// A movie player session ends at its player's finish and sends nothing for it: no report may
// carry "playbackCompleted", and after a playback error nothing but log reports follows.
QMProtocolCheck moviePlayerCompletion(const QMSessionView& view) {
    QMProtocolCheck check(
        "completion.final",
        "the session ends at the player's finish: no completion report, nothing after an error");
    const Report* error = nullptr;
    for (const auto& report : view.reports()) {
        if (report.retransmission || !report.type) continue;
        if (error != nullptr && *report.type != "L") {
            check.fail(report.request->id,
                       "a \"" + *report.type +
                           "\" report after the playback error report that ended the session (" +
                           requestRef(error->request->id) + ")");
        }
        if (*report.type == "P" && report.body->contains("playbackCompleted")) {
            check.fail(
                report.request->id,
                "an MPMoviePlayerController session ends at its player's finish without a completion report");
        }
        if (error == nullptr && *report.type == "E") error = &report;
    }
    if (view.state() == QMSessionView::State::Active) check.setUndecided(QMProtocolCheck::Status::Pending);
    return check;
}

bool playbackWasMeasured(const QMSessionView& view) {
    for (const auto* report : view.reportsOfType("P")) {
        auto playing = QMSessionView::numberOf(report->body->value("totalPlayingTime", Json()));
        if (playing.value_or(0) > 0) return true;
    }
    return false;
}

// Exactly one report of a type; its absence counts only once the session is over and `expected`.
QMProtocolCheck checkOnce(const QMSessionView& view, const std::string& type, const std::string& name,
                          const std::string& description, bool expected, const std::string& missing) {
    QMProtocolCheck check(name, description);
    auto reports = view.reportsOfType(type);
    for (size_t i = 1; i < reports.size(); ++i) {
        check.fail(reports[i]->request->id, "another \"" + type + "\" report (the first was " +
                                                requestRef(reports[0]->request->id) + ")");
    }
    if (!reports.empty()) return check;
    auto periodical = view.periodicalReports();
    if (!view.finished())
        check.setUndecided(QMProtocolCheck::Status::Pending);
    else if (expected && !periodical.empty())
        check.fail(periodical.back()->request->id, missing);
    else
        check.setUndecided(QMProtocolCheck::Status::NotApplicable);
    return check;
}

}  // namespace

std::vector<QMProtocolCheck> QMProtocolChecks::all(const QMSessionView& view) {
    return {initWellFormed(view), knownSession(view), reportsWellFormed(view),
            valueTypes(view),     pulseNumbers(view), periodicalNumbers(view),
            joinTimeOnce(view),   durationOnce(view), completion(view)};
}

QMProtocolCheck QMProtocolChecks::initWellFormed(const QMSessionView& view) {
    QMProtocolCheck check("init.wellFormed", "the session start request is well formed");
    const QMCollectorRequest* init = view.initRequest();
    if (init == nullptr) {
        check.setUndecided(QMProtocolCheck::Status::NotApplicable);
        return check;
    }
    checkHeaders(check, *init, "the session start request");
    auto userAgent = init->header("User-Agent");
    if (!userAgent)
        check.fail(init->id, "the session start request has no User-Agent");
    else
        for (auto& problem : QMReportSchema::problemsOfUserAgent(*userAgent)) check.fail(init->id, problem);
    auto body = init->bodyJSON();
    auto problems = QMReportSchema::problemsOfInitBody(body.value_or(Json()));
    for (auto& problem : problems) check.fail(init->id, problem);
    return check;
}

QMProtocolCheck QMProtocolChecks::knownSession(const QMSessionView& view) {
    QMProtocolCheck check("session.known", "every report names a session the collector opened");
    if (view.known()) return check;
    for (const auto& report : view.reports()) {
        check.fail(report.request->id,
                   "report names session \"" + view.sessionId() + "\", which this collector never opened");
    }
    return check;
}

QMProtocolCheck QMProtocolChecks::reportsWellFormed(const QMSessionView& view) {
    QMProtocolCheck check("report.wellFormed", "reports are JSON objects with a known type and a session id");
    for (const auto& report : view.reports()) {
        const auto& request = *report.request;
        checkHeaders(check, request, "the report");
        if (!report.body) {
            check.fail(request.id, "the report body is not a JSON object");
            continue;
        }
        if (!report.type)
            check.fail(request.id, "the report has no string \"type\"");
        else if (!QMReportSchema::isKnownType(*report.type)) {
            check.fail(request.id, "unknown report type \"" + *report.type + "\"");
        }
        auto sessionId = report.body->find("sessionId");
        if (sessionId == report.body->end() || !sessionId->is_string()) {
            check.fail(request.id, "the report has no string \"sessionId\"");
        }
    }
    return check;
}

QMProtocolCheck QMProtocolChecks::valueTypes(const QMSessionView& view) {
    QMProtocolCheck check("values.types", "report values have the types the protocol defines");
    for (const auto& report : view.reports()) {
        if (report.retransmission || !report.type || !QMReportSchema::isKnownType(*report.type)) continue;
        for (auto& problem : QMReportSchema::problemsOfReport(*report.type, *report.body)) {
            check.fail(report.request->id, problem);
        }
        if (*report.type == "P" && isMoviePlayer(view)) checkMoviePlayerValues(check, report);
    }
    return check;
}

QMProtocolCheck QMProtocolChecks::pulseNumbers(const QMSessionView& view) {
    QMProtocolCheck check("pulse.gapFree",
                          "pulse numbers of all non-log reports run 1, 2, 3 ... without gaps");
    std::vector<Numbered> pulses;
    for (const auto& report : view.reports()) {
        if (report.retransmission || !report.type || !QMReportSchema::isKnownType(*report.type)) continue;
        bool carries = report.body->contains("pulseNumber");
        if (*report.type == "L") {
            if (carries) check.fail(report.request->id, "a log report carries \"pulseNumber\"");
            continue;
        }
        auto pulse = integerKey(report, "pulseNumber");
        if (!pulse)
            check.fail(report.request->id,
                       "a \"" + *report.type + "\" report without an integer \"pulseNumber\"");
        else
            pulses.push_back({*pulse, report.request->id});
    }
    checkRun(check, pulses, "pulse number");
    return check;
}

QMProtocolCheck QMProtocolChecks::periodicalNumbers(const QMSessionView& view) {
    QMProtocolCheck check("periodical.sequence",
                          "periodical numbers increase by one, pulse numbers with them");
    std::vector<Numbered> numbers;
    const Report* previous = nullptr;
    for (const auto* report : view.periodicalReports()) {
        auto number = integerKey(*report, "periodicalNumber");
        if (!number) {
            check.fail(report->request->id, "a periodical report without an integer \"periodicalNumber\"");
            continue;
        }
        numbers.push_back({*number, report->request->id});
        auto pulse = integerKey(*report, "pulseNumber");
        auto previousPulse = previous ? integerKey(*previous, "pulseNumber") : std::nullopt;
        if (pulse && previousPulse && *pulse <= *previousPulse) {
            check.fail(report->request->id, "periodical number " + std::to_string(*number) +
                                                " carries pulse number " + std::to_string(*pulse) +
                                                ", not above " + std::to_string(*previousPulse) +
                                                " of the one before");
        }
        previous = report;
    }
    checkRun(check, numbers, "periodical number");
    return check;
}

QMProtocolCheck QMProtocolChecks::joinTimeOnce(const QMSessionView& view) {
    return checkOnce(view, "J", "joinTime.once", "exactly one join-time report", playbackWasMeasured(view),
                     "the session ended without a join-time report although playing time was reported");
}

QMProtocolCheck QMProtocolChecks::durationOnce(const QMSessionView& view) {
    return checkOnce(view, "D", "duration.once", "exactly one playback-duration report",
                     durationWasAnnounced(view), "the session ended without a playback-duration report");
}

QMProtocolCheck QMProtocolChecks::completion(const QMSessionView& view) {
    if (isMoviePlayer(view)) return moviePlayerCompletion(view);
    QMProtocolCheck check("completion.final", "the final report carries \"playbackCompleted\"");
    const Report* completing = nullptr;
    for (const auto& report : view.reports()) {
        if (report.retransmission || !report.type) continue;
        if (completing != nullptr && *report.type != "L") {
            check.fail(report.request->id, "a \"" + *report.type +
                                               "\" report after the report that completed "
                                               "playback (" +
                                               requestRef(completing->request->id) + ")");
        }
        if (completing == nullptr && *report.type == "P" &&
            report.body->value("playbackCompleted", Json()) == true) {
            completing = &report;
        }
    }
    if (completing != nullptr) return check;
    auto periodical = view.reportsOfType("P");
    using State = QMSessionView::State;
    if (view.state() == State::Active)
        check.setUndecided(QMProtocolCheck::Status::Pending);
    else if (view.state() != State::Abandoned || periodical.empty()) {
        check.setUndecided(QMProtocolCheck::Status::NotApplicable);
    } else {
        check.fail(periodical.back()->request->id,
                   "the session ended without a report carrying \"playbackCompleted\"");
    }
    return check;
}

}  // namespace veyrakit
