#pragma once
#include <cstdint>
#include <functional>
#include <mutex>

#include "platform/QMJSON.h"

namespace veyrakit {

// The events of a diagnostic stream that wait for the next post, and the index the next one
// gets. The index runs on across posts. Recording is safe from any thread: the AVPlayer playlist
// reading records from the URL session's worker while the main loop's timer may be posting.
class QMDiagnosticEventQueue {
  public:
    // Builds the event record for the index it is given, under the queue's lock, so that indexes
    // follow the order of the records.
    using RecordBuilder = std::function<QMJSON(int64_t index)>;

    void record(const RecordBuilder& build);
    // The pending records, oldest first, as a JSON array; the queue is empty afterwards.
    QMJSON takeAll();
    bool empty() const;
    int64_t nextIndex() const;
    // No pending records, and the index back to 1.
    void reset();

  private:
    mutable std::mutex mutex_;
    QMJSON events_ = QMJSON::array();
    int64_t eventCount_ = 1;
};

}  // namespace veyrakit
