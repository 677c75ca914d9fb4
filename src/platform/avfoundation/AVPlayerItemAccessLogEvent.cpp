#include "veyrakit/platform/avfoundation/AVPlayerItemAccessLogEvent.h"

namespace veyrakit {

AVPlayerItemAccessLogEvent::AVPlayerItemAccessLogEvent() = default;

AVPlayerItemAccessLogEvent::~AVPlayerItemAccessLogEvent() = default;

}  // namespace veyrakit
