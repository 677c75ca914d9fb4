#pragma once
#include <nlohmann/json.hpp>
#include <string>

#include "collector/QMSessionView.h"

namespace veyrakit {

// What the diagnostic streams tell about a session, added to its summary: posts and events,
// events by name, the bitrates and resolutions the master playlist offered, and the newest
// access-log figures.
class QMDiagnosticSummary {
  public:
    static void add(const QMSessionView& view, nlohmann::ordered_json& summary);
    // A movie player event's name by the form its text was made from, without the closing line
    // feed ("Duration changed: %.2f").
    static std::string movieEventKey(const std::string& text);

  private:
    static nlohmann::ordered_json eventsByName(const QMSessionView& view);
    // The info value of the newest session event of that name; null when there is none.
    static nlohmann::ordered_json newestInfo(const QMSessionView& view, const char* name, const char* key);
    static nlohmann::ordered_json lastAccessLog(const QMSessionView& view);
};

}  // namespace veyrakit
