#pragma once
#include <nlohmann/json.hpp>
#include <string>

#include "collector/QMSessionView.h"

namespace veyrakit {

// What the diagnostic streams tell about a session, added to its summary: posts and events,
// events by name, the bitrates and resolutions the master playlist offered, and the newest
// access-log figures, and the playback errors (the error log's entries and the item's failure)
// with their codes and texts.
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
    // Each error-log entry ({"code", "domain", "text"}, its status code, domain and comment, from
    // either stream) and the AVPlayer item's failure ({"text"}: its description), in the order sent.
    static nlohmann::ordered_json playbackErrors(const QMSessionView& view);

  public:
    // "<domain> <code>: <text>", leaving out what the entry lacks.
    static std::string errorLine(const nlohmann::ordered_json& error);
};

}  // namespace veyrakit
