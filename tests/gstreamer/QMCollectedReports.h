#pragma once
#include <cstdint>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace veyrakit {

class QMCollectorServer;

// The reports a collector received for one session, in pulse order, each with the time it
// arrived: what the GStreamer tests check on the wire.
class QMCollectedReports {
  public:
    using Json = nlohmann::ordered_json;

    QMCollectedReports(const QMCollectorServer& collector, const std::string& sessionId);

    const std::vector<std::pair<Json, int64_t>>& all() const { return reports_; }
    bool empty() const { return reports_.empty(); }
    // The report types in order ("SPDJPP...").
    std::string types() const;
    // The bitrates the reports carried.
    std::set<int64_t> bitrates() const;
    const Json& last() const { return reports_.back().first; }

    // The events of the session's AVPlayer diagnostic stream, in the order they were posted.
    static std::vector<Json> sessionEvents(const QMCollectorServer& collector, const std::string& sessionId);
    static bool hasSessionEvent(const QMCollectorServer& collector, const std::string& sessionId,
                                const std::string& name);

  private:
    std::vector<std::pair<Json, int64_t>> reports_;
};

}  // namespace veyrakit
