#include "platform/avfoundation/AVPlayerItemAccessLogEvent.h"

AVPlayerItemAccessLogEvent::AVPlayerItemAccessLogEvent() = default;

AVPlayerItemAccessLogEvent::~AVPlayerItemAccessLogEvent() = default;
