#pragma once
#include <cstdint>
#include <nlohmann/json.hpp>
#include <vector>

#include "collector/QMProtocolCheck.h"
#include "collector/QMSessionView.h"

namespace veyrakit {

// What the dashboard draws for one session, worked out here so that the page only draws:
//   "timeline"          every request in arrival order: its offset from the session's first
//                       request, kind, pulse and periodical numbers, key values and the answer
//   "intervals"         per periodical report: the session time and the interval's and session's
//                       buffering, playing, viewed and full-screen times
//   "bitrate"           the reported bitrate per periodical report, switches marked
//   "diagnosticEvents"  the events of both diagnostic streams by name, with their times
//   "checks"            the checks, each violation with the request that broke the rule
// The session time of a periodical report is its "totalElapsedTime" (the player's clock, which
// a fast demo run compresses on the wall clock), else its arrival offset. Times are milliseconds.
class QMSessionTimeline {
  public:
    static nlohmann::ordered_json build(const QMSessionView& view,
                                        const std::vector<QMProtocolCheck>& checks);

  private:
    static nlohmann::ordered_json timeline(const QMSessionView& view);
    static nlohmann::ordered_json entry(const QMCollectorRequest& request, int64_t start);
    static nlohmann::ordered_json kindOf(const QMCollectorRequest& request,
                                         const nlohmann::ordered_json& body);
    static nlohmann::ordered_json keyValues(const QMCollectorRequest& request,
                                            const nlohmann::ordered_json& body);
    static nlohmann::ordered_json intervals(const QMSessionView& view);
    static nlohmann::ordered_json bitrate(const QMSessionView& view);
    static nlohmann::ordered_json diagnosticEvents(const QMSessionView& view);
    static nlohmann::ordered_json checkList(const QMSessionView& view,
                                            const std::vector<QMProtocolCheck>& checks);
    static int64_t sessionTime(const QMSessionView& view, const QMSessionView::Report& report);
};

}  // namespace veyrakit
