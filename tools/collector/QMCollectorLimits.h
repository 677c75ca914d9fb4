#pragma once
#include <chrono>
#include <cstddef>

namespace veyrakit {

// What one client may ask of the collector's HTTP servers (docs/collector.md, "Limits", says what
// each answer is). The JSON bounds are QMBoundedJSON's, the same for the door and the store.
struct QMCollectorLimits {
    // The SDK's largest posts (a log report, a diagnostic batch) are tens of kilobytes.
    size_t maxBodyBytes = size_t{1024} * 1024;
    // Request line and header fields together; curl and browsers send well under 4 KiB.
    size_t maxHeadBytes = size_t{32} * 1024;
    size_t maxHeaderFields = 100;
    // From a request's first byte to its last, and for the client to take the whole answer.
    std::chrono::milliseconds requestTimeout{10'000};
    // Open connections per port. Each has a thread of its own, so a slow or idle one holds only
    // itself; past the bound, the one that has waited longest on its client is closed.
    size_t maxConnections = 128;
};

}  // namespace veyrakit
