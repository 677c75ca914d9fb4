#pragma once
#include <cstdint>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <ostream>
#include <string>

namespace veyrakit {

// One line per request a collector received, as the request appears in the collector's API
// ({"endpoint", "path", "body", "answer": {"status", "body"}, ...}):
//   +0:01.810  init  vod-default HLS                      -> 200 session 8BEB5CB8
//   +0:01.811  J     pulse 1  joinTime=1800
//   +1:10.000  P #8  pulse 11  bitrate=3000000 playing=1 buffering=2500/2500ms played=...
// The time is the session time: from the start of the scenario. Lines may come from any thread.
class QMDemoProgressPrinter {
  public:
    explicit QMDemoProgressPrinter(std::ostream& out);

    void printRequest(const nlohmann::ordered_json& request, std::optional<int64_t> sessionMillis);
    void printNote(const std::string& text);

    static std::string describe(const nlohmann::ordered_json& request, std::optional<int64_t> sessionMillis);
    // A movie player's end of playback, which ends its session without a request of its own:
    //   +1:40.000  finish reason 0 (playback ended): the session ended, nothing is sent for it
    static std::string finishLine(std::optional<int64_t> sessionMillis, long reason, bool sessionEnded);
    // "+1:10.000"; "-" when the time is not known.
    static std::string sessionClock(std::optional<int64_t> millis);

  private:
    static std::string label(const nlohmann::ordered_json& request);
    static std::string details(const nlohmann::ordered_json& request);
    static std::string reportDetails(const nlohmann::ordered_json& body);
    static std::string periodicalDetails(const nlohmann::ordered_json& body);
    static std::string answer(const nlohmann::ordered_json& request);

    std::mutex mutex_;
    std::ostream& out_;
};

}  // namespace veyrakit
