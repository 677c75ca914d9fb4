#pragma once
#include <cstddef>
#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "collector/QMCollectorSequence.h"

namespace veyrakit {

// How the collector answers. Every field is a sequence over successive requests (see
// QMCollectorSequence), named "<section>.<field>":
//   init.status, init.refuse, init.issueSessionId, init.intervalSeconds, init.skipReports,
//   init.sendLog, init.logQueueSize, init.offerViewerId   (session start answers, counted over
//                                                          all session start requests)
//   report.status, report.skipReports                     (periodical reports, counted per session)
//   onDemand.status                                       (other reports, counted per session)
class QMCollectorPolicy {
  public:
    class Error : public std::runtime_error {
      public:
        using std::runtime_error::runtime_error;
    };

    // The defaults: status 200, a session id, "intervalSeconds" 10000 and "skipReports" 0.
    QMCollectorPolicy();

    // A policy file's content: {"init": {...}, "report": {...}, "onDemand": {...},
    // "sessionIdleMs": n}; fields not named keep their defaults. Throws Error.
    static QMCollectorPolicy fromJSON(const nlohmann::ordered_json& document);
    static QMCollectorPolicy fromFile(const std::string& path);

    // Validates the value against the field's type; throws Error naming the field.
    void set(const std::string& field, const QMCollectorSequence& values);
    // The value of the field for the request with this 0-based index; nullopt when left out.
    std::optional<nlohmann::ordered_json> valueAt(const std::string& field, size_t index) const;
    bool isSet(const std::string& field) const;

    // A session with no request for this long counts as over (for the completion checks).
    int64_t sessionIdleMillis() const { return sessionIdleMillis_; }
    void setSessionIdleMillis(int64_t millis);

    nlohmann::ordered_json toJSON() const;

    static const std::vector<std::string>& fieldNames();
    // "skipReports" read the way the client reads it: a number as an integer, a string by its
    // leading integer (0 when there is none), anything else as 0.
    static int64_t integerValue(const nlohmann::ordered_json& value);

  private:
    std::map<std::string, QMCollectorSequence> fields_;
    int64_t sessionIdleMillis_ = 60000;
};

}  // namespace veyrakit
