#include "demo/QMDemoProgressPrinter.h"

#include <cstdio>
#include <cstdlib>

namespace veyrakit {

namespace {

using Json = nlohmann::ordered_json;

std::string text(const Json& value) { return value.is_string() ? value.get<std::string>() : value.dump(); }

// A value the body may lack, as text; "?" when absent.
std::string valueOf(const Json& body, const char* key) {
    auto it = body.find(key);
    return it == body.end() ? "?" : text(*it);
}

std::string padded(std::string value, size_t width) {
    if (value.size() < width) value.append(width - value.size(), ' ');
    return value;
}

// The member `key` when it is an object; an empty object otherwise.
Json objectAt(const Json& parent, const char* key) {
    auto it = parent.find(key);
    return it != parent.end() && it->is_object() ? *it : Json::object();
}

}  // namespace

QMDemoProgressPrinter::QMDemoProgressPrinter(std::ostream& out) : out_(out) {}

void QMDemoProgressPrinter::printRequest(const nlohmann::ordered_json& request,
                                         std::optional<int64_t> sessionMillis) {
    std::string line = describe(request, sessionMillis);
    std::lock_guard<std::mutex> lock(mutex_);
    out_ << line << std::endl;
}

void QMDemoProgressPrinter::printNote(const std::string& note) {
    std::lock_guard<std::mutex> lock(mutex_);
    out_ << note << std::endl;
}

std::string QMDemoProgressPrinter::sessionClock(std::optional<int64_t> millis) {
    if (!millis) return "-";
    const int64_t magnitude = std::llabs(*millis);
    char clock[48];
    std::snprintf(clock, sizeof clock, "%c%lld:%02lld.%03lld", *millis < 0 ? '-' : '+',
                  static_cast<long long>(magnitude / 60000), static_cast<long long>(magnitude / 1000 % 60),
                  static_cast<long long>(magnitude % 1000));
    return clock;
}

std::string QMDemoProgressPrinter::finishLine(std::optional<int64_t> sessionMillis, long reason,
                                              bool sessionEnded) {
    static const char* const reasons[] = {"playback ended", "playback error", "user exited"};
    const std::string why = reason >= 0 && reason <= 2 ? reasons[reason] : "unknown";
    std::string line = padded(sessionClock(sessionMillis), 11) + padded("finish", 7) + "reason " +
                       std::to_string(reason) + " (" + why + "): ";
    if (!sessionEnded) return line + "the session goes on";
    return line + (reason == 1 ? "the session ended after its playback error report"
                               : "the session ended, nothing is sent for it");
}

std::string QMDemoProgressPrinter::describe(const nlohmann::ordered_json& request,
                                            std::optional<int64_t> sessionMillis) {
    std::string line = padded(sessionClock(sessionMillis), 11) + padded(label(request), 7);
    std::string more = details(request);
    if (!more.empty()) line += " " + more;
    return line + answer(request);
}

std::string QMDemoProgressPrinter::label(const nlohmann::ordered_json& request) {
    const std::string endpoint = request.value("endpoint", "other");
    const Json body = objectAt(request, "body");
    if (endpoint == "init") return "init";
    if (endpoint == "report") {
        std::string type = body.contains("type") ? text(body["type"]) : "report";
        if (body.contains("periodicalNumber")) type += " #" + text(body["periodicalNumber"]);
        return type;
    }
    if (endpoint == "diagnosticEvents" || endpoint == "sessionEvents") return "diag";
    return request.value("method", "?") + " " + request.value("path", "?");
}

std::string QMDemoProgressPrinter::details(const nlohmann::ordered_json& request) {
    const std::string endpoint = request.value("endpoint", "other");
    const Json body = objectAt(request, "body");
    if (endpoint == "init") {
        return valueOf(body, "assetId") + " " + valueOf(body, "streamType") + " " + valueOf(body, "mediaUrl");
    }
    if (endpoint == "report") return reportDetails(body);
    if (endpoint == "diagnosticEvents" || endpoint == "sessionEvents") {
        auto events = body.find("events");
        return std::to_string(events != body.end() && events->is_array() ? events->size() : 0) + " events";
    }
    return "";
}

std::string QMDemoProgressPrinter::reportDetails(const nlohmann::ordered_json& body) {
    if (body.value("type", Json()) == "L") {
        auto entries = body.find("logArray");
        return std::to_string(entries != body.end() && entries->is_array() ? entries->size() : 0) +
               " log lines";
    }
    std::string line = body.contains("pulseNumber") ? "pulse " + text(body["pulseNumber"]) : "no pulse";
    if (body.value("type", Json()) == "P") return line + " " + periodicalDetails(body);
    for (const auto& [key, value] : body.items()) {
        if (key != "type" && key != "sessionId" && key != "pulseNumber")
            line += " " + key + "=" + text(value);
    }
    return line;
}

// The figures a viewer of the session would look at, in a fixed order; the rest stays in the
// collector's store.
std::string QMDemoProgressPrinter::periodicalDetails(const nlohmann::ordered_json& body) {
    std::string line = "bitrate=" + valueOf(body, "currentBitRate") + " playing=" + valueOf(body, "playing");
    line += " buffering=" + valueOf(body, "currentBufferingTime") + "/" +
            valueOf(body, "totalBufferingTime") + "ms";
    line += " played=" + valueOf(body, "currentPlayingTime") + "/" + valueOf(body, "totalPlayingTime") + "ms";
    if (body.contains("totalFullScreenTime"))
        line += " fullscreen=" + text(body["totalFullScreenTime"]) + "ms";
    auto completed = body.find("playbackCompleted");
    if (completed != body.end() && *completed == true) line += " completed";
    return line;
}

std::string QMDemoProgressPrinter::answer(const nlohmann::ordered_json& request) {
    const Json answer = objectAt(request, "answer");
    const int status = answer.value("status", 0);
    const Json body = objectAt(answer, "body");
    std::string line;
    if (status != 200) line += " -> " + std::to_string(status);
    if (request.value("endpoint", "") == "init" && body.contains("sessionId")) {
        line += "  -> session " + text(body["sessionId"]);
    }
    auto skip = body.find("skipReports");
    if (skip != body.end() && text(*skip) != "0") line += "  -> skipReports " + text(*skip);
    return line;
}

}  // namespace veyrakit
