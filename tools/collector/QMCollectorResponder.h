#pragma once
#include <cstddef>
#include <map>
#include <mutex>
#include <optional>
#include <random>
#include <string>

#include "collector/QMCollectorPolicy.h"

namespace veyrakit {

// Builds the collector's answers from its policy, counting requests so that sequences advance.
// Thread-safe: the server's threads share one responder.
class QMCollectorResponder {
  public:
    struct Answer {
        int status = 200;
        std::string body;
        std::optional<std::string> issuedSessionId;  // set when a session start answer opens a session
    };

    explicit QMCollectorResponder(QMCollectorPolicy policy);

    // The n-th session start answer of this collector's life.
    Answer answerInit();
    // Periodical reports ("P") and the other reports advance separate counters per session.
    Answer answerReport(const std::optional<std::string>& sessionId, const std::optional<std::string>& type);
    // The diagnostic collectors only acknowledge.
    static Answer answerDiagnostic();

    const QMCollectorPolicy& policy() const { return policy_; }

  private:
    struct Counters {
        size_t periodical = 0;
        size_t onDemand = 0;
    };

    // An upper-case canonical version-4 UUID; called with the mutex held.
    std::string newSessionId();
    bool continuesSession(int status, const std::optional<nlohmann::ordered_json>& skipReports,
                          size_t index) const;

    QMCollectorPolicy policy_;
    std::mutex mutex_;
    size_t initCount_ = 0;
    std::map<std::string, Counters> counters_;
    std::mt19937_64 random_;
};

}  // namespace veyrakit
