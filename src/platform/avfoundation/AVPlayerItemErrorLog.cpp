#include "platform/avfoundation/AVPlayerItemErrorLog.h"

AVPlayerItemErrorLog::AVPlayerItemErrorLog() = default;

AVPlayerItemErrorLog::~AVPlayerItemErrorLog() = default;

void AVPlayerItemErrorLog::addEvent(std::shared_ptr<AVPlayerItemErrorLogEvent> event) {
    if (event) {
        events_.push_back(std::move(event));
    }
}
