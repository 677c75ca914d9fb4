#pragma once
#include <nlohmann/json.hpp>
#include <string>

namespace veyrakit {

// The end of a demo run as text: the session summary as a table, then every protocol check with
// its status and violations, as the collector judged them. Takes a session analysis in the
// collector's API shape ({"sessionId", "state", "passed", "summary": {...}, "checks": [...]}).
class QMDemoSummaryPrinter {
  public:
    static std::string summaryTable(const nlohmann::ordered_json& analysis);
    static std::string checkList(const nlohmann::ordered_json& analysis);

  private:
    static std::string row(const std::string& label, const std::string& value);
    static std::string milliseconds(const nlohmann::ordered_json& value);
    static std::string assetLine(const nlohmann::ordered_json& asset);
    static std::string reportCounts(const nlohmann::ordered_json& summary);
    static std::string bufferingLine(const nlohmann::ordered_json& summary);
    static std::string bitrateLine(const nlohmann::ordered_json& summary);
    static std::string outcomeLine(const nlohmann::ordered_json& summary);
    // Posts and events of the diagnostic streams, and how their checks went.
    static std::string diagnosticsLine(const nlohmann::ordered_json& analysis);
    static std::string listLine(const nlohmann::ordered_json& values);
    // The newest access-log figures the diagnostic stream carried.
    static std::string accessLogLine(const nlohmann::ordered_json& figures);
    // "1 interval", "5 switches".
    static std::string counted(const nlohmann::ordered_json& count, const std::string& noun);
};

}  // namespace veyrakit
