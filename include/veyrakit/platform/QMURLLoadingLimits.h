#pragma once
#include <cstddef>

#include "veyrakit/platform/QMExport.h"

namespace veyrakit {

// The bounds every URL load of the process keeps (connections and the shared session's data
// tasks alike), whatever the server sends. Read when an exchange starts; set them before.
//
// - maximumResponseLength: the most answer-body bytes one exchange accepts (default 2 MiB). A
//   longer body (announced by Content-Length or counted while it arrives) ends the exchange as a
//   failure with NSURLErrorDataLengthExceedsMaximum, so memory stays bounded.
// - defaultTimeoutInterval: seconds one exchange may take in all, from connecting to its last
//   body byte, when its request sets no timeoutInterval of its own (default 60).
class VEYRAKIT_EXPORT QMURLLoadingLimits {
  public:
    static constexpr std::size_t kDefaultMaximumResponseLength = std::size_t{2} << 20;
    static constexpr double kDefaultTimeoutInterval = 60;

    static std::size_t maximumResponseLength();
    static void setMaximumResponseLength(std::size_t bytes);
    static double defaultTimeoutInterval();
    static void setDefaultTimeoutInterval(double seconds);
    // Back to the defaults above.
    static void reset();
};

}  // namespace veyrakit
