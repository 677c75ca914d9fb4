#pragma once
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace veyrakit {

// What the client may send: the keys and value types of the session start request and of each
// report type. Every function returns the problems it found, one readable sentence each; an
// empty list means the value is as defined.
class QMReportSchema {
  public:
    // "S", "P", "E", "D", "J", "F", "L", "B".
    static bool isKnownType(const std::string& type);
    // An optional minus sign and at least one decimal digit, nothing else ("%lld" output).
    static bool isDecimalText(const std::string& text);
    // The keys of a report body beyond the envelope ("type", "sessionId", "pulseNumber", and
    // "periodicalNumber" of a periodical report), which the sequence checks look at.
    static std::vector<std::string> problemsOfReport(const std::string& type,
                                                     const nlohmann::ordered_json& body);
    static std::vector<std::string> problemsOfInitBody(const nlohmann::ordered_json& body);
    // "iosApp/5.0 (<model>; CPU <system name> <system version> like Mac OS X)".
    static std::vector<std::string> problemsOfUserAgent(const std::string& userAgent);
};

}  // namespace veyrakit
