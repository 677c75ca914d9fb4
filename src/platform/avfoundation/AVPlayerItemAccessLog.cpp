#include "veyrakit/platform/avfoundation/AVPlayerItemAccessLog.h"

namespace veyrakit {

AVPlayerItemAccessLog::AVPlayerItemAccessLog() = default;

AVPlayerItemAccessLog::~AVPlayerItemAccessLog() = default;

}  // namespace veyrakit
