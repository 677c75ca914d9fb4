#include "veyrakit/platform/avfoundation/QMMediaErrorLogEvent.h"

namespace veyrakit {

QMMediaErrorLogEvent::QMMediaErrorLogEvent() = default;

QMMediaErrorLogEvent::~QMMediaErrorLogEvent() = default;

}  // namespace veyrakit
