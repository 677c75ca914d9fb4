#pragma once
#include <cstdint>
#include <memory>
#include <string>

#include "veyrakit/platform/QMDate.h"

namespace veyrakit {

// Date helpers shared by the logger and the metrics: the formats their server reads.
class QMDateQuamira {
  public:
    // Milliseconds since 1970 on the main run loop's clock: seconds * 1000 + micros / 1000.
    static int64_t currentTimeMillis();
    // "yyyy-MM-dd'T'HH:mm:ss.SSS'Z'" in UTC.
    static std::string toString(const QMDate& date);
    // The date at millis / 1000 whole seconds: the sub-second part is dropped on purpose.
    static std::shared_ptr<QMDate> dateFromMillis(int64_t millis);
};

}  // namespace veyrakit
