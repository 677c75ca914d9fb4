#include "veyrakit/platform/avfoundation/AVPlayerItemErrorLog.h"

namespace veyrakit {

AVPlayerItemErrorLog::AVPlayerItemErrorLog() = default;

AVPlayerItemErrorLog::~AVPlayerItemErrorLog() = default;

}  // namespace veyrakit
