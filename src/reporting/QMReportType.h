#pragma once
#include <string>

#include "veyrakit/platform/QMObject.h"

namespace veyrakit {

// The "type" value of every report.
class QMReportType : public QMObject {
  public:
    static const std::string& SESSION_START();       // "S"
    static const std::string& PERIODICAL();          // "P"
    static const std::string& PLAYBACK_ERROR();      // "E"
    static const std::string& PLAYBACK_DURATION();   // "D"
    static const std::string& JOIN_TIME();           // "J"
    static const std::string& FAULT_REPORT();        // "F"
    static const std::string& LOG_REPORT();          // "L"
    static const std::string& AVAILABLE_BITRATES();  // "B"
};

}  // namespace veyrakit
