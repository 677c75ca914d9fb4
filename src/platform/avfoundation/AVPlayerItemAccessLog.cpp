#include "platform/avfoundation/AVPlayerItemAccessLog.h"

AVPlayerItemAccessLog::AVPlayerItemAccessLog() = default;

AVPlayerItemAccessLog::~AVPlayerItemAccessLog() = default;
