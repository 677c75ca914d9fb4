#include "veyrakit/platform/avfoundation/QMMediaAccessLogEvent.h"

namespace veyrakit {

QMMediaAccessLogEvent::QMMediaAccessLogEvent() = default;

QMMediaAccessLogEvent::~QMMediaAccessLogEvent() = default;

}  // namespace veyrakit
