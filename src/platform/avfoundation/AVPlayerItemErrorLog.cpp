#include "platform/avfoundation/AVPlayerItemErrorLog.h"

AVPlayerItemErrorLog::AVPlayerItemErrorLog() = default;

AVPlayerItemErrorLog::~AVPlayerItemErrorLog() = default;
