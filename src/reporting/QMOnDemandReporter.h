#pragma once
#include <cstdint>
#include <functional>
#include <optional>

#include "platform/QMJSON.h"
#include "reporting/QMRestLoader.h"
#include "veyrakit/platform/QMObject.h"

namespace veyrakit {

// Posts one-shot reports ("J", "B", "D", "E", "F", "S", "L") in the common envelope: the plugin's
// session id, the report's own keys, and, except for log reports, the next pulse number from
// the counter shared with the periodical reporter.
class QMOnDemandReporter : public QMObject {
  public:
    using CompleteCallback = QMRestLoader::CompleteCallback;
    using FailedCallback = QMRestLoader::FailedCallback;

    QMOnDemandReporter() = default;

    // Either callback may be empty; outcomes reach only the callbacks.
    void sendOnDemandReport(QMJSON report, CompleteCallback onCompleteCallback,
                            FailedCallback onFailedCallback);
};

}  // namespace veyrakit
