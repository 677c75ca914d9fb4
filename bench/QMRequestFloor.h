#pragma once
#include <cstdint>
#include <string>

#include "QMBenchTraffic.h"

namespace veyrakit {

// The least a client can spend on the SDK's requests: the same requests (method, target, headers,
// body) posted by a bare libcurl loop on one easy handle, so over one kept-alive connection, to
// the same server, from the calling thread. What the SDK spends per request is given as a
// multiple of this.
class QMRequestFloor {
  public:
    struct Figures {
        int64_t requests = 0;
        int64_t failures = 0;            // transfers that did not complete with a status
        double cpuMicrosPerRequest = 0;  // the calling thread's, user and kernel
    };

    static Figures replay(const std::string& baseURL, const QMBenchTraffic::KeptRequests& requests);
};

}  // namespace veyrakit
