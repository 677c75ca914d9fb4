#include "platform/avfoundation/AVPlayerItemErrorLogEvent.h"

AVPlayerItemErrorLogEvent::AVPlayerItemErrorLogEvent() = default;

AVPlayerItemErrorLogEvent::~AVPlayerItemErrorLogEvent() = default;
