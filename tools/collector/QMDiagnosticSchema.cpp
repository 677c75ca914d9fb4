#include "collector/QMDiagnosticSchema.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <regex>
#include <set>

namespace veyrakit {

namespace {

using Json = nlohmann::ordered_json;
using Stream = QMDiagnosticSchema::Stream;

// Number: a double, which the reporter writes as null when it is not finite. Text: a string,
// or null for a log value the player left out.
enum class Kind { Number, Integer, Text, Status, Numbers, Resolutions };

// Whether an info key may be missing: the reporter leaves a key out when its value is nil (an
// error with no comment, a log entry with no domain), but the info object itself is still sent.
enum class Presence { Always, UnlessNil };

struct InfoKey {
    const char* name;
    Kind kind;
    Presence presence = Presence::Always;
};

using InfoRules = std::vector<InfoKey>;

const std::map<std::string, InfoRules>& sessionEventRules() {
    static const InfoRules none;
    static const InfoRules status{{"status", Kind::Status}, {"reason", Kind::Text, Presence::UnlessNil}};
    static const std::map<std::string, InfoRules> rules{
        {"init", none},
        {"playbackBufferEmpty", none},
        {"playbackBufferNotEmpty", none},
        {"playbackLikelyToKeepUp", none},
        {"playbackNotLikelyToKeepUp", none},
        {"playbackBufferFull", none},
        {"playbackBufferNotFull", none},
        {"rate", {{"rate", Kind::Number}}},
        {"playerStatus", status},
        {"status", status},
        {"duration", {{"duration", Kind::Number}}},
        {"presentationSize", {{"width", Kind::Number}, {"height", Kind::Number}}},
        {"didPlayToEndTime", none},
        {"failedToPlayToEndTime", {{"description", Kind::Text, Presence::UnlessNil}}},
        {"timeJumped", none},
        {"playbackStalled", none},
        {"playbackPosition", {{"position", Kind::Number}}},
        {"stopPlayback", none},
        // The access log's rows.
        {"mediaRequestsWWAN", {{"requests", Kind::Integer}}},
        {"transferDuration", {{"duration", Kind::Number}}},
        {"bytesTransfered", {{"bytes", Kind::Integer}}},
        {"numberOfMediaRequests", {{"requests", Kind::Integer}}},
        {"playbackStartDate", {{"timestamp", Kind::Integer}}},
        {"playbackStartOffset", {{"offset", Kind::Number}}},
        {"playbackType", {{"type", Kind::Text, Presence::UnlessNil}}},
        {"startupTime", {{"time", Kind::Number}}},
        {"durationWatched", {{"duration", Kind::Number}}},
        {"numberOfDroppedVideoFrames", {{"frames", Kind::Integer}}},
        {"numberOfStalls", {{"stalls", Kind::Integer}}},
        {"segmentsDownloadedDuration", {{"duration", Kind::Number}}},
        {"downloadOverdue", {{"overdue", Kind::Integer}}},
        {"indicatedBitrate", {{"bitrate", Kind::Number}}},
        {"observedBitrate", {{"bitrate", Kind::Number}}},
        {"observedMinBitrate", {{"bitrate", Kind::Number}}},
        {"observedMaxBitrate", {{"bitrate", Kind::Number}}},
        {"observedBitrateStandardDeviation", {{"standardDeviation", Kind::Number}}},
        {"switchBitrate", {{"bitrate", Kind::Number}}},
        // The error log's rows.
        {"errorDate", {{"timestamp", Kind::Integer}}},
        {"errorStatusCode", {{"statusCode", Kind::Integer}}},
        {"errorDomain", {{"domain", Kind::Text, Presence::UnlessNil}}},
        {"errorComment", {{"comment", Kind::Text, Presence::UnlessNil}}},
        // The master playlist.
        {"availableBitrates", {{"bitrates", Kind::Numbers}}},
        {"availableResolutions", {{"resolutions", Kind::Resolutions}}},
    };
    return rules;
}

bool isResolution(const Json& value) {
    return value.is_object() && value.size() == 2 && value.contains("width") && value["width"].is_number() &&
           value.contains("height") && value["height"].is_number();
}

bool hasKind(const Json& value, Kind kind) {
    switch (kind) {
        case Kind::Number:
            return value.is_number() || value.is_null();
        case Kind::Integer:
            return value.is_number_integer();
        case Kind::Text:
            return value.is_string() || value.is_null();
        case Kind::Status:
            return value == "failed" || value == "readyToPlay" || value == "unknown";
        case Kind::Numbers:
            return value.is_array() &&
                   std::all_of(value.begin(), value.end(), [](const Json& each) { return each.is_number(); });
        case Kind::Resolutions:
            return value.is_array() && std::all_of(value.begin(), value.end(), isResolution);
    }
    return false;
}

const char* kindName(Kind kind) {
    switch (kind) {
        case Kind::Number:
            return "a number";
        case Kind::Integer:
            return "an integer";
        case Kind::Text:
            return "a string";
        case Kind::Status:
            return "\"failed\", \"readyToPlay\" or \"unknown\"";
        case Kind::Numbers:
            return "an array of numbers";
        case Kind::Resolutions:
            return "an array of {\"width\", \"height\"} numbers";
    }
    return "";
}

std::string eventLabel(const Json& event) {
    std::string label = "event";
    if (event.contains("index")) label += " " + event["index"].dump();
    if (event.contains("name")) label += " " + event["name"].dump();
    return label;
}

void checkInfo(const Json& event, const InfoRules& rules, std::vector<std::string>& problems) {
    const std::string label = eventLabel(event);
    auto info = event.find("info");
    if (rules.empty()) {
        if (info != event.end()) problems.push_back(label + " carries \"info\", which it has none of");
        return;
    }
    if (info == event.end() || !info->is_object()) {
        problems.push_back(label + " has no \"info\" object");
        return;
    }
    for (auto member = info->begin(); member != info->end(); ++member) {
        const std::string& key = member.key();
        const Json& value = member.value();
        auto rule = std::find_if(rules.begin(), rules.end(),
                                 [&key](const InfoKey& each) { return key == each.name; });
        if (rule == rules.end())
            problems.push_back(label + " has the unknown info key \"" + key + "\"");
        else if (!hasKind(value, rule->kind))
            problems.push_back(label + " info \"" + key + "\" is " + value.dump() + ", expected " +
                               kindName(rule->kind));
    }
    for (const auto& rule : rules) {
        if (rule.presence == Presence::Always && !info->contains(rule.name))
            problems.push_back(label + " has no info \"" + rule.name + "\"");
    }
}

// A status event gives a reason only for a failure.
void checkStatusReason(const Json& event, std::vector<std::string>& problems) {
    const Json info = event.value("info", Json::object());
    if (info.is_object() && info.contains("reason") && info.value("status", Json()) != "failed") {
        problems.push_back(eventLabel(event) + " gives a \"reason\" for the status " +
                           info.value("status", Json()).dump() + ", which is no failure");
    }
}

// Both players stamp events with the wall clock in milliseconds since 1970: a time in seconds or
// in microseconds lies far outside the years 2000 to 2100.
bool isMillisSince1970(int64_t timestamp) {
    constexpr int64_t kYear2000 = 946'684'800'000;
    constexpr int64_t kYear2100 = 4'102'444'800'000;
    return timestamp >= kYear2000 && timestamp < kYear2100;
}

bool isUpperCaseUUID(const std::string& text) {
    static const std::regex pattern("[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}");
    return text.size() == 36 && std::regex_match(text, pattern);
}

bool isStrings(const Json& value) {
    return value.is_array() &&
           std::all_of(value.begin(), value.end(), [](const Json& each) { return each.is_string(); });
}

// The AVPlayer reporter passes the plugin's metadata items through; the movie player handler
// turns them into one dictionary of values by key.
bool isMetadata(const Json& value, Stream stream) {
    if (stream == Stream::DiagnosticEvents) {
        return value.is_object() &&
               std::all_of(value.begin(), value.end(), [](const Json& each) { return isStrings(each); });
    }
    return value.is_array() && std::all_of(value.begin(), value.end(), [](const Json& item) {
               return item.is_object() && item.size() == 2 && item.contains("key") &&
                      item["key"].is_string() && item.contains("values") && isStrings(item["values"]);
           });
}

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// The end of a "%.2f" value at `at`: digits, a point and two decimals, or nan or inf, each may
// be negative; npos when there is none.
size_t decimalEnd(const std::string& text, size_t at) {
    if (at < text.size() && text[at] == '-') ++at;
    if (text.compare(at, 3, "nan") == 0 || text.compare(at, 3, "inf") == 0) return at + 3;
    size_t digits = at;
    while (at < text.size() && isDigit(text[at])) ++at;
    if (at == digits || at + 3 > text.size() || text[at] != '.') return std::string::npos;
    return isDigit(text[at + 1]) && isDigit(text[at + 2]) ? at + 3 : std::string::npos;
}

// The end of a "%li" value at `at`: digits, which may be negative; npos when there is none.
size_t integerEnd(const std::string& text, size_t at) {
    if (at < text.size() && text[at] == '-') ++at;
    size_t digits = at;
    while (at < text.size() && isDigit(text[at])) ++at;
    return at == digits ? std::string::npos : at;
}

// The text's first value when it was made from `format`: "%.2f" two decimals, "%li" and "%ld"
// an integer, "%@" any text (in every format only literal text follows it); nullopt when it was
// not. One pass, unlike std::regex, whose matcher recurses per character and overflows the stack
// on a text of 100 KB.
std::optional<std::string> valueOf(const std::string& format, const std::string& text) {
    std::optional<std::string> first;
    size_t at = 0;
    for (size_t i = 0; i < format.size();) {
        size_t end = std::string::npos;
        size_t placeholder = 0;
        if (format.compare(i, 2, "%@") == 0) {
            const std::string rest = format.substr(i + 2);
            if (text.size() < at + rest.size() || !text.ends_with(rest)) return std::nullopt;
            if (!first) first = text.substr(at, text.size() - rest.size() - at);
            return first;
        }
        if (format.compare(i, 4, "%.2f") == 0) {
            end = decimalEnd(text, at);
            placeholder = 4;
        } else if (format.compare(i, 3, "%li") == 0 || format.compare(i, 3, "%ld") == 0) {
            end = integerEnd(text, at);
            placeholder = 3;
        } else {
            if (at >= text.size() || text[at] != format[i]) return std::nullopt;
            ++at;
            ++i;
            continue;
        }
        if (end == std::string::npos) return std::nullopt;
        if (!first) first = text.substr(at, end - at);
        at = end;
        i += placeholder;
    }
    return at == text.size() ? first : std::nullopt;
}

const std::set<std::string>& fixedTexts() {
    static const std::set<std::string> texts{
        "buffer",
        "play",
        "Media type is audio\n",
        "Media type is video\n",
        "Did enter full screen\n",
        "Did exit full screen\n",
        "Started playing via air play\n",
        "Stopped playing via air play\n",
        "Load state changed to Unknown\n",
        "Load state changed to Playable\n",
        "Load state changed to Playthrough OK\n",
        "Load state changed to Stalled\n",
        "Playback did finish\n",
        "Playback did finish with error\n",
        "Playback did finish by user\n",
        "Playback state channged to Stopped\n",
        "Playback state channged to Playing\n",
        "Playback state channged to Paused\n",
        "Playback state channged to Interrupted\n",
        "Playback state channged to Seeking Forward\n",
        "Playback state channged to Seeking Backward\n",
        "Scaling mode changed to None\n",
        "Scaling mode changed to Aspect Fit\n",
        "Scaling mode changed to Aspect Fill\n",
        "Scaling mode changed to Fill\n",
        "Source type changed to Unkown\n",
        "Source type changed to File\n",
        "Source type changed to Streaming\n",
        "Ready for display\n",
        "Not ready for display\n",
    };
    return texts;
}

const std::vector<std::string>& formattedTexts() {
    static const std::vector<std::string> formats{"Duration changed: %.2f\n",
                                                  "Natural size changed: %.2fx%.2f\n",
                                                  "Content URL changed: %@\n",
                                                  "URI: %@\n",
                                                  "Server address: %@\n",
                                                  "Number of server address changes: %li\n",
                                                  "Number of network read requests over WWAN: %li\n",
                                                  "Bytes transfered: %li\n",
                                                  "Session ID: %@\n",
                                                  "Start offset: %.2f\n",
                                                  "Watched duration: %.2f\n",
                                                  "Dropped frames: %li\n",
                                                  "Number of stalls: %li\n",
                                                  "Segments download duration: %.2f\n",
                                                  "Indicated bitrate: %.2f\n",
                                                  "Observed bitrate: %.2f\n",
                                                  "Error status code: %ld\n",
                                                  "Error domain: %@\n",
                                                  "Error comment: %@\n"};
    return formats;
}

}  // namespace

std::vector<std::string> QMDiagnosticSchema::problemsOfEventRecord(const nlohmann::ordered_json& event,
                                                                   Stream stream) {
    if (!event.is_object()) return {"an event is " + event.dump() + ", not an object"};
    std::vector<std::string> problems;
    const std::string label = eventLabel(event);
    for (const char* key : {"index", "timestamp"}) {
        if (!event.contains(key) || !event[key].is_number_integer())
            problems.push_back(label + " has no integer \"" + key + "\"");
    }
    if (event.contains("timestamp") && event["timestamp"].is_number_integer() &&
        !isMillisSince1970(event["timestamp"].get<int64_t>()))
        problems.push_back(label + " has the timestamp " + event["timestamp"].dump() +
                           ", not milliseconds since 1970");
    if (!event.contains("name") || !event["name"].is_string())
        problems.push_back(label + " has no string \"name\"");
    for (const auto& [key, value] : event.items()) {
        bool info = key == "info" && stream == Stream::SessionEvents;
        if (key != "index" && key != "timestamp" && key != "name" && !info)
            problems.push_back(label + " carries the unknown key \"" + key + "\"");
    }
    return problems;
}

std::vector<std::string> QMDiagnosticSchema::problemsOfSessionEvent(const nlohmann::ordered_json& event) {
    if (!event.is_object() || !event.contains("name") || !event["name"].is_string()) return {};
    const std::string name = event["name"].get<std::string>();
    auto rules = sessionEventRules().find(name);
    if (rules == sessionEventRules().end()) return {eventLabel(event) + " is no event the reporter records"};
    std::vector<std::string> problems;
    checkInfo(event, rules->second, problems);
    if (name == "status" || name == "playerStatus") checkStatusReason(event, problems);
    return problems;
}

std::vector<std::string> QMDiagnosticSchema::problemsOfSessionDescription(
    const nlohmann::ordered_json& session, Stream stream) {
    if (!session.is_object()) return {"the \"session\" description is not an object"};
    const bool avplayer = stream == Stream::SessionEvents;
    std::set<std::string> texts{"sessionId", "assetId", "qmrCID", "assetType", "assetName", "viewerId"};
    if (avplayer) texts.insert({"temporarySessionId", "playbackURL"});
    std::vector<std::string> problems;
    for (const auto& [key, value] : session.items()) {
        if (key == "assetMetadata" || key == "viewerMetadata") {
            if (!isMetadata(value, stream))
                problems.push_back("the session's \"" + key + "\" is " + value.dump() + ", expected " +
                                   (avplayer ? "an array of {\"key\", \"values\"} items"
                                             : "an object of string arrays by key"));
        } else if (!texts.contains(key)) {
            problems.push_back("the session description carries the unknown key \"" + key + "\"");
        } else if (!value.is_string()) {
            problems.push_back("the session's \"" + key + "\" is " + value.dump() + ", not a string");
        }
    }
    if (!avplayer) {
        // The handler builds both dictionaries from the plugin's lists, empty when it has none.
        for (const char* key : {"assetMetadata", "viewerMetadata"}) {
            if (!session.contains(key))
                problems.push_back(std::string("the session description has no \"") + key + "\"");
        }
        return problems;
    }
    // The reporter posts only once the session id is known, and always with its temporary id.
    if (!session.contains("sessionId")) problems.push_back("the session description has no \"sessionId\"");
    auto temporary = session.find("temporarySessionId");
    if (temporary == session.end())
        problems.push_back("the session description has no \"temporarySessionId\"");
    else if (temporary->is_string() && !isUpperCaseUUID(temporary->get<std::string>()))
        problems.push_back("\"temporarySessionId\" " + temporary->dump() + " is not an upper-case UUID");
    return problems;
}

std::optional<QMDiagnosticSchema::Text> QMDiagnosticSchema::recognizeText(const std::string& text) {
    if (fixedTexts().contains(text)) return Text{text, std::nullopt};
    for (const auto& format : formattedTexts()) {
        if (auto value = valueOf(format, text)) return Text{format, *value};
    }
    return std::nullopt;
}

}  // namespace veyrakit
