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
