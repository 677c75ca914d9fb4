#include "collector/QMReportSchema.h"

#include <algorithm>
#include <cctype>
#include <map>
#include <optional>

namespace veyrakit {

namespace {

using Json = nlohmann::ordered_json;

enum class Kind {
    DecimalText,
    Integer,
    PlayingFlag,
    True,
    Number,
    Text,
    NonBlankText,
    NumberArray,
    TextArray,
    LogArray,
    Metadata,
    ProtocolVersion,
    StreamType,
    UniqueViewerData
};

struct KeyRule {
    std::string name;
    Kind kind;
    bool required;
};

bool isBlank(const std::string& text) {
    return std::all_of(text.begin(), text.end(), [](unsigned char c) { return std::isspace(c) != 0; });
}

bool allOf(const Json& value, bool (*test)(const Json&)) {
    return value.is_array() && std::all_of(value.begin(), value.end(), test);
}

bool isString(const Json& value) { return value.is_string(); }
bool isNumber(const Json& value) { return value.is_number(); }

bool isLogEntry(const Json& entry) {
    if (!entry.is_object()) return false;
    for (const char* key : {"date", "log", "level"}) {
        if (!entry.contains(key) || !entry[key].is_string()) return false;
    }
    // A message logged without a prefix has none to send.
    return !entry.contains("prefix") || entry["prefix"].is_string() || entry["prefix"].is_null();
}

bool isMetadataItem(const Json& item) {
    return item.is_object() && item.size() == 2 && item.contains("key") && item["key"].is_string() &&
           item.contains("values") && allOf(item["values"], isString);
}

// A stored viewer id travels as a bare string, the cookie flag as an array: both forms exactly.
bool isUniqueViewerData(const Json& value) {
    auto cookie = [](const char* flag) { return Json{{"key", "viewerIdInCookie"}, {"values", {flag}}}; };
    if (value == Json::array({cookie("false")})) return true;
    return value.is_array() && value.size() == 2 && value[1] == cookie("true") && value[0].is_object() &&
           value[0].size() == 2 && value[0].value("key", Json()) == "viewerId" &&
           value[0].contains("values") && value[0]["values"].is_string();
}

// The expectation a value does not meet, or nullopt.
std::optional<std::string> unmet(Kind kind, const Json& value) {
    switch (kind) {
        case Kind::DecimalText:
            if (value.is_string() && QMReportSchema::isDecimalText(value.get<std::string>()))
                return std::nullopt;
            return "a string of decimal digits";
        case Kind::Integer:
            if (value.is_number_integer()) return std::nullopt;
            return "an integer";
        case Kind::PlayingFlag:
            if (value.is_boolean() || value == 0 || value == 1) return std::nullopt;
            return "0, 1 or a boolean";
        case Kind::True:
            if (value == true) return std::nullopt;
            return "true";
        case Kind::Number:
            if (value.is_number()) return std::nullopt;
            return "a number";
        case Kind::Text:
            if (value.is_string()) return std::nullopt;
            return "a string";
        case Kind::NonBlankText:
            if (value.is_string() && !isBlank(value.get<std::string>())) return std::nullopt;
            return "a non-blank string";
        case Kind::NumberArray:
            if (allOf(value, isNumber)) return std::nullopt;
            return "an array of numbers";
        case Kind::TextArray:
            if (allOf(value, isString)) return std::nullopt;
            return "an array of strings";
        case Kind::LogArray:
            if (allOf(value, isLogEntry)) return std::nullopt;
            return "an array of log entries with string \"date\", \"log\", \"level\" and \"prefix\" (or no "
                   "prefix)";
        case Kind::Metadata:
            if (allOf(value, isMetadataItem)) return std::nullopt;
            return "an array of {\"key\": string, \"values\": array of strings}";
        case Kind::ProtocolVersion:
            if (value == "1.1") return std::nullopt;
            return "the string \"1.1\"";
        case Kind::StreamType:
            for (const char* type : {"PDL", "HLS", "MPEG_DASH", "UNKNOWN"}) {
                if (value == type) return std::nullopt;
            }
            return "one of \"PDL\", \"HLS\", \"MPEG_DASH\", \"UNKNOWN\"";
        case Kind::UniqueViewerData:
            if (isUniqueViewerData(value)) return std::nullopt;
            return "[{\"key\": \"viewerIdInCookie\", \"values\": [\"false\"]}] or [{\"key\": \"viewerId\", "
                   "\"values\": <string>}, {\"key\": \"viewerIdInCookie\", \"values\": [\"true\"]}]";
    }
    return std::nullopt;
}

const std::map<std::string, std::vector<KeyRule>>& reportRules() {
    static const std::map<std::string, std::vector<KeyRule>> rules{
        {"S", {}},
        {"E", {}},
        {"P",
         {{"totalBufferingTime", Kind::DecimalText, false},
          {"bufferingTimeLeadingToNow", Kind::DecimalText, false},
          {"currentBufferingTime", Kind::DecimalText, false},
          {"totalPlayingTime", Kind::DecimalText, false},
          {"currentPlayingTime", Kind::DecimalText, false},
          {"totalViewedTime", Kind::DecimalText, false},
          {"currentViewedTime", Kind::DecimalText, false},
          {"totalFullScreenTime", Kind::DecimalText, false},
          {"currentFullScreenTime", Kind::DecimalText, false},
          {"currentElapsedTime", Kind::DecimalText, false},
          {"totalElapsedTime", Kind::DecimalText, false},
          {"periodDuration", Kind::DecimalText, false},
          {"alive", Kind::DecimalText, false},
          {"assetDuration", Kind::DecimalText, false},
          {"playing", Kind::PlayingFlag, false},
          {"playbackCompleted", Kind::True, false},
          {"currentBitRate", Kind::Integer, false},
          {"currentFrameRate", Kind::Number, false}}},
        {"J", {{"joinTime", Kind::Integer, true}}},
        {"D", {{"duration", Kind::DecimalText, true}}},
        {"B", {{"bitrates", Kind::NumberArray, true}}},
        {"F",
         {{"manual", Kind::Integer, true},
          {"errorCode", Kind::Text, true},
          {"playerVersion", Kind::Text, true}}},
        {"L", {{"logArray", Kind::LogArray, true}, {"cid", Kind::TextArray, true}}},
    };
    return rules;
}

const std::vector<KeyRule>& initRules() {
    static const std::vector<KeyRule> rules{
        {"assetId", Kind::NonBlankText, true},
        {"qmrCID", Kind::NonBlankText, true},
        {"assetName", Kind::Text, false},
        {"viewerId", Kind::Text, false},
        {"protocolVersion", Kind::ProtocolVersion, true},
        {"mediaUrl", Kind::Text, true},
        {"streamType", Kind::StreamType, false},
        {"assetType", Kind::Text, true},
        {"assetMetadata", Kind::Metadata, false},
        {"viewerMetadata", Kind::Metadata, false},
        {"uniqueViewerData", Kind::UniqueViewerData, true},
    };
    return rules;
}

std::vector<std::string> problemsAgainst(const std::vector<KeyRule>& rules, const Json& body,
                                         const std::string& what, const std::vector<std::string>& envelope) {
    std::vector<std::string> problems;
    for (const auto& key : rules) {
        if (key.required && !body.contains(key.name))
            problems.push_back(what + " without \"" + key.name + "\"");
    }
    for (const auto& [name, value] : body.items()) {
        if (std::find(envelope.begin(), envelope.end(), name) != envelope.end()) continue;
        auto rule = std::find_if(rules.begin(), rules.end(),
                                 [&key = name](const KeyRule& candidate) { return candidate.name == key; });
        if (rule == rules.end()) {
            problems.push_back("unexpected key \"" + name + "\" in " + what);
        } else if (auto expected = unmet(rule->kind, value)) {
            problems.push_back("\"" + name + "\" is " + value.dump() + ", expected " + *expected);
        }
    }
    return problems;
}

}  // namespace

bool QMReportSchema::isKnownType(const std::string& type) { return reportRules().count(type) != 0; }

bool QMReportSchema::isDecimalText(const std::string& text) {
    size_t start = (!text.empty() && text[0] == '-') ? 1 : 0;
    return text.size() > start && std::all_of(text.begin() + static_cast<std::ptrdiff_t>(start), text.end(),
                                              [](char c) { return c >= '0' && c <= '9'; });
}

std::vector<std::string> QMReportSchema::problemsOfReport(const std::string& type,
                                                          const nlohmann::ordered_json& body) {
    auto it = reportRules().find(type);
    if (it == reportRules().end()) return {"unknown report type \"" + type + "\""};
    std::vector<std::string> envelope{"type", "sessionId", "pulseNumber"};
    if (type == "P") envelope.push_back("periodicalNumber");
    return problemsAgainst(it->second, body, "a \"" + type + "\" report", envelope);
}

std::vector<std::string> QMReportSchema::problemsOfInitBody(const nlohmann::ordered_json& body) {
    if (!body.is_object()) return {"the session start body is not a JSON object"};
    return problemsAgainst(initRules(), body, "the session start body", {});
}

std::vector<std::string> QMReportSchema::problemsOfUserAgent(const std::string& userAgent) {
    const std::string prefix = "iosApp/5.0 (";
    const std::string suffix = " like Mac OS X)";
    bool framed = userAgent.size() > prefix.size() + suffix.size() && userAgent.starts_with(prefix) &&
                  userAgent.ends_with(suffix);
    std::string inner =
        framed ? userAgent.substr(prefix.size(), userAgent.size() - prefix.size() - suffix.size())
               : std::string();
    size_t cpu = inner.find("; CPU ");
    size_t version = cpu == std::string::npos ? std::string::npos : inner.rfind(' ');
    bool parts = cpu != std::string::npos && cpu > 0 && version > cpu + 6 && version + 1 < inner.size();
    if (framed && parts) return {};
    return {"User-Agent \"" + userAgent +
            "\" is not \"iosApp/5.0 (<model>; CPU <system name> <system version> like Mac OS X)\""};
}

}  // namespace veyrakit
