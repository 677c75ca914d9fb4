#include "veyrakit/platform/avfoundation/AVPlayerItemErrorLogEvent.h"

namespace veyrakit {

AVPlayerItemErrorLogEvent::AVPlayerItemErrorLogEvent() = default;

AVPlayerItemErrorLogEvent::~AVPlayerItemErrorLogEvent() = default;

}  // namespace veyrakit
