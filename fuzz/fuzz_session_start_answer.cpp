// The session start answer as the plugin reads it: every field it applies, the throttle it asks
// for, the retry delay and both log lines. A numeric throttle raising QMInvalidArgumentException
// from its log line is the deliberate behaviour; nothing else may escape.
#include <cstddef>
#include <cstdint>
#include <string>

#include "core/QMSessionStartProtocol.h"
#include "platform/QMException.h"

using namespace veyrakit;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string body(reinterpret_cast<const char*>(data), size);
    const auto answer = QMSessionStartProtocol::readAnswer(body);
    const auto throttle = QMSessionStartProtocol::throttleOf(answer.skipReports);
    (void)QMSessionStartProtocol::retryDelaySeconds(answer.skipReports, answer.intervalLength);
    (void)QMSessionStartProtocol::sessionLogLine(answer);
    if (throttle != QMSessionStartProtocol::Throttle::Proceed) {
        try {
            (void)QMSessionStartProtocol::throttleLogLine(answer);
        } catch (const QMInvalidArgumentException&) {
        }
    }
    return 0;
}
