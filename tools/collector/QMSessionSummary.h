#pragma once
#include <nlohmann/json.hpp>

#include "collector/QMSessionView.h"

namespace veyrakit {

// What an analytics backend shows for one session, worked out from its reports: join time,
// buffering (total, per interval, rebuffering ratio), playing, viewed, full-screen and elapsed
// time, bitrate timeline and switches, duration, completion and errors. Times are milliseconds;
// a value nothing reported is null.
class QMSessionSummary {
  public:
    static nlohmann::ordered_json build(const QMSessionView& view);

  private:
    static nlohmann::ordered_json overview(const QMSessionView& view);
    static nlohmann::ordered_json asset(const QMSessionView& view);
    static nlohmann::ordered_json reportCounts(const QMSessionView& view);
    static void addTimes(const QMSessionView& view, nlohmann::ordered_json& summary);
    static void addBitrates(const QMSessionView& view, nlohmann::ordered_json& summary);
    static void addOutcome(const QMSessionView& view, nlohmann::ordered_json& summary);
};

}  // namespace veyrakit
