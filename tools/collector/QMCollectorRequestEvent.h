#pragma once
#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "collector/QMCollectorRequest.h"

namespace veyrakit {

// What the collector tells its observer about one request it has answered and stored.
class QMCollectorRequestEvent {
  public:
    QMCollectorRequest request;                // with its id, answer and session
    std::optional<int64_t> sessionTimeMillis;  // since the session start request of its session
    std::optional<std::string> reportType;     // "type" of a report body
    std::optional<int64_t> pulseNumber;
    std::optional<int64_t> periodicalNumber;
    nlohmann::ordered_json values = nlohmann::ordered_json::object();  // the body's other keys

    static QMCollectorRequestEvent from(QMCollectorRequest request,
                                        std::optional<int64_t> sessionStartMillis);

    // One line, for instance
    //   +20.004s P #2 pulse 4 totalPlayingTime=9998 currentBitRate=800000 -> 200 {"skipReports":0}
    // with the client's control characters escaped (QMConsoleText).
    std::string describe() const;

  private:
    std::string label() const;
    std::string details() const;
};

}  // namespace veyrakit
