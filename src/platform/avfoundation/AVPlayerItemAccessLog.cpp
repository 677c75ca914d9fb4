#include "platform/avfoundation/AVPlayerItemAccessLog.h"

AVPlayerItemAccessLog::AVPlayerItemAccessLog() = default;

AVPlayerItemAccessLog::~AVPlayerItemAccessLog() = default;

void AVPlayerItemAccessLog::addEvent(std::shared_ptr<AVPlayerItemAccessLogEvent> event) {
    if (event) {
        events_.push_back(std::move(event));
    }
}
