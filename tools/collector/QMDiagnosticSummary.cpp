#include "collector/QMDiagnosticSummary.h"

#include <array>
#include <cstdlib>

#include "collector/QMDiagnosticSchema.h"

namespace veyrakit {

namespace {

using Json = nlohmann::ordered_json;

// One access-log figure: its summary key, the session event and info key that carry it, and the
// movie player's text for it.
struct Figure {
    const char* key;
    const char* event;
    const char* info;
    const char* format;
};

const std::array<Figure, 6> kFigures{{
    {"indicatedBitrate", "indicatedBitrate", "bitrate", "Indicated bitrate: %.2f\n"},
    {"observedBitrate", "observedBitrate", "bitrate", "Observed bitrate: %.2f\n"},
    {"bytesTransferred", "bytesTransfered", "bytes", "Bytes transfered: %li\n"},
    {"stalls", "numberOfStalls", "stalls", "Number of stalls: %li\n"},
    {"droppedVideoFrames", "numberOfDroppedVideoFrames", "frames", "Dropped frames: %li\n"},
    {"durationWatched", "durationWatched", "duration", "Watched duration: %.2f\n"},
}};

// A movie player text's value as a number: integral ones as integers.
Json numberFromText(const std::string& value) {
    char* end = nullptr;
    double number = std::strtod(value.c_str(), &end);
    if (end == value.c_str()) return Json();
    if (number == static_cast<double>(static_cast<int64_t>(number))) return static_cast<int64_t>(number);
    return number;
}

}  // namespace

std::string QMDiagnosticSummary::movieEventKey(const std::string& text) {
    auto recognized = QMDiagnosticSchema::recognizeText(text);
    std::string key = recognized ? recognized->format : text;
    if (key.ends_with("\n")) key.pop_back();
    return key;
}

void QMDiagnosticSummary::add(const QMSessionView& view, nlohmann::ordered_json& summary) {
    size_t events = 0;
    for (const auto& post : view.sessionEventPosts()) events += post.events().size();
    for (const auto& post : view.diagnosticEventPosts()) events += post.events().size();
    summary["diagnosticPosts"] = view.sessionEventPosts().size() + view.diagnosticEventPosts().size();
    summary["diagnosticEvents"] = events;
    summary["diagnosticEventsByName"] = eventsByName(view);
    summary["offeredBitrates"] = newestInfo(view, "availableBitrates", "bitrates");
    summary["offeredResolutions"] = newestInfo(view, "availableResolutions", "resolutions");
    summary["lastAccessLog"] = lastAccessLog(view);
    summary["playbackErrors"] = playbackErrors(view);
}

nlohmann::ordered_json QMDiagnosticSummary::playbackErrors(const QMSessionView& view) {
    Json errors = Json::array();
    // An entry's rows come as its status code, then its domain and comment.
    auto into = [&errors](const char* key, Json value) {
        if (std::string(key) == "code" || errors.empty() || errors.back().contains("failure")) {
            errors.push_back({{"code", Json()}, {"domain", Json()}, {"text", Json()}});
        }
        errors.back()[key] = std::move(value);
    };
    auto text = [](const Json& info, const char* key) {
        return info.is_object() && info.contains(key) ? info[key] : Json();
    };
    for (const auto* posts : {&view.sessionEventPosts(), &view.diagnosticEventPosts()}) {
        for (const auto& post : *posts) {
            for (const auto& event : post.events()) {
                const Json name = event.value("name", Json());
                if (!name.is_string()) continue;
                const Json info = event.value("info", Json());
                if (name == "errorStatusCode") into("code", text(info, "statusCode"));
                if (name == "errorDomain") into("domain", text(info, "domain"));
                if (name == "errorComment") into("text", text(info, "comment"));
                if (name == "failedToPlayToEndTime") {
                    errors.push_back({{"code", Json()},
                                      {"domain", Json()},
                                      {"text", text(info, "description")},
                                      {"failure", true}});
                }
                const auto movie = QMDiagnosticSchema::recognizeText(name.get<std::string>());
                if (!movie || !movie->value) continue;
                if (movie->format == "Error status code: %ld\n") into("code", numberFromText(*movie->value));
                // A movie player writes a nil value as "(null)".
                const Json value = *movie->value == "(null)" ? Json() : Json(*movie->value);
                if (movie->format == "Error domain: %@\n") into("domain", value);
                if (movie->format == "Error comment: %@\n") into("text", value);
            }
        }
    }
    Json named = Json::array();
    for (auto& error : errors) {
        error.erase("failure");
        // An entry whose every value was nil says nothing worth showing.
        if (!error["code"].is_null() || !error["domain"].is_null() || !error["text"].is_null()) {
            named.push_back(std::move(error));
        }
    }
    return named;
}

std::string QMDiagnosticSummary::errorLine(const nlohmann::ordered_json& error) {
    std::string line;
    auto part = [&](const Json& value, const char* separator) {
        if (value.is_null()) return;
        line +=
            (line.empty() ? "" : separator) + (value.is_string() ? value.get<std::string>() : value.dump());
    };
    part(error.value("domain", Json()), " ");
    part(error.value("code", Json()), " ");
    part(error.value("text", Json()), ": ");
    return line.empty() ? "(no code or text)" : line;
}

nlohmann::ordered_json QMDiagnosticSummary::eventsByName(const QMSessionView& view) {
    Json counts = Json::object();
    auto count = [&counts](const std::string& key) { counts[key] = counts.value(key, 0) + 1; };
    for (const auto& post : view.sessionEventPosts()) {
        for (const auto& event : post.events()) {
            auto name = event.find("name");
            count(name != event.end() && name->is_string() ? name->get<std::string>() : "?");
        }
    }
    for (const auto& post : view.diagnosticEventPosts()) {
        for (const auto& event : post.events()) {
            auto name = event.find("name");
            count(name != event.end() && name->is_string() ? movieEventKey(name->get<std::string>()) : "?");
        }
    }
    return counts;
}

nlohmann::ordered_json QMDiagnosticSummary::newestInfo(const QMSessionView& view, const char* name,
                                                       const char* key) {
    Json value;
    for (const auto& post : view.sessionEventPosts()) {
        for (const auto& event : post.events()) {
            if (event.value("name", Json()) != name) continue;
            const Json info = event.value("info", Json());
            if (info.is_object() && info.contains(key)) value = info[key];
        }
    }
    return value;
}

nlohmann::ordered_json QMDiagnosticSummary::lastAccessLog(const QMSessionView& view) {
    Json figures = Json::object();
    for (const auto& figure : kFigures) figures[figure.key] = newestInfo(view, figure.event, figure.info);
    for (const auto& post : view.diagnosticEventPosts()) {
        for (const auto& event : post.events()) {
            auto name = event.find("name");
            if (name == event.end() || !name->is_string()) continue;
            auto text = QMDiagnosticSchema::recognizeText(name->get<std::string>());
            if (!text || !text->value) continue;
            for (const auto& figure : kFigures) {
                if (text->format == figure.format) figures[figure.key] = numberFromText(*text->value);
            }
        }
    }
    return figures;
}

}  // namespace veyrakit
