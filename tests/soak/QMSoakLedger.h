#pragma once
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/QMJSON.h"
#include "support/QMURLStubRegistry.h"

namespace veyrakit {

// Checks the report bodies a soak's server received, session by session, in arrival order: the
// pulse numbers of a session count 1, 2, 3, ... and the periodical numbers of its periodical
// reports likewise, a number seen before coming back only as the same body sent again (a retry);
// and the session totals of its periodical reports never go down.
class QMSoakLedger {
  public:
    void record(const QMRecordedRequest& request);
    // The playback is over and nothing of it is in flight: its sessions are closed, so the
    // ledger keeps no more than one playback's bodies.
    void endPlayback() { sessions_.clear(); }

    int64_t reports() const { return reports_; }
    int64_t retransmissions() const { return retransmissions_; }
    // One sentence per inconsistency found; empty when all was consistent.
    const std::vector<std::string>& violations() const { return violations_; }

  private:
    struct Session {
        int64_t pulse = 0;
        int64_t periodical = 0;
        std::map<std::string, int64_t> totals;
        std::map<int64_t, std::string> bodiesByPulse;
    };
    void checkNumbers(Session& session, const QMJSON& report, const std::string& body, const std::string& id);
    void checkTotals(Session& session, const QMJSON& report, const std::string& id);
    void violation(const std::string& id, const std::string& what);

    std::map<std::string, Session> sessions_;
    int64_t reports_ = 0;
    int64_t retransmissions_ = 0;
    std::vector<std::string> violations_;
};

}  // namespace veyrakit
