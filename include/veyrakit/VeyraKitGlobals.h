#pragma once
// The library's globals: the reporting interval, the pulse key and the version symbols.
#include <cstdint>
#include <string>

#include "veyrakit/platform/QMExport.h"

namespace veyrakit {

// Reporting interval in seconds: initially 10, set from the server's session answer, read by the
// periodical reporter and the elapsed-time metric.
VEYRAKIT_EXPORT extern int32_t INTERVAL_LENGTH;
// Body key under which every report but the log report carries the shared pulse counter.
VEYRAKIT_EXPORT extern const std::string METRIC_PULSE_NUMBER;

// Version symbols of the framework.
VEYRAKIT_EXPORT extern const double VeyraKitVersionNumber;
VEYRAKIT_EXPORT extern const unsigned char VeyraKitVersionString[];

}  // namespace veyrakit
