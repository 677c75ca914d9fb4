#pragma once
#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "QMAllocationCounter.h"
#include "platform/QMURLRequest.h"

namespace veyrakit {

// What the SDK sent, as the server side of a benchmark sees it (the stub registry's responder or
// the loopback server's handler, possibly on another thread), and how that server answers: the
// session start exchange with a session id and the run's reporting interval, everything else with
// an empty JSON object, and the master playlist with a two-rung ladder.
class QMBenchTraffic {
  public:
    // A request as it came, kept for replaying it later; its headers one "Field: value" per line.
    struct Kept {
        QMUncountedString method;
        QMUncountedString target;
        QMUncountedString headers;
        QMUncountedString body;
    };
    using KeptRequests = std::vector<Kept, QMUncountedAllocator<Kept>>;

    explicit QMBenchTraffic(int reportIntervalSeconds) : reportIntervalSeconds_(reportIntervalSeconds) {}

    // Counts one request (request line, header lines, blank line, body) and gives the answer's
    // status and body.
    std::pair<int, std::string> answer(const std::string& method, const std::string& target,
                                       const QMURLRequest::Headers& headers, const std::string& body);

    int64_t requests() const { return requests_.load(); }
    int64_t bytes() const { return bytes_.load(); }
    int64_t periodicalReports() const { return periodicalReports_.load(); }

    // Keeps the first `count` requests from now on, outside the counted heap.
    void keepRequests(std::size_t count);
    KeptRequests keptRequests() const;

  private:
    void keep(const std::string& method, const std::string& target, const QMURLRequest::Headers& headers,
              const std::string& body);

    mutable std::mutex keptMutex_;
    std::size_t keepCount_ = 0;
    KeptRequests kept_;
    int reportIntervalSeconds_;
    std::atomic<int64_t> requests_{0};
    std::atomic<int64_t> bytes_{0};
    std::atomic<int64_t> periodicalReports_{0};
};

}  // namespace veyrakit
