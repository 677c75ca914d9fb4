#pragma once
#include "platform/avfoundation/QMMediaLog.h"
#include "platform/avfoundation/AVPlayerItemAccessLogEvent.h"

// The access log of a player item: one event per stretch of playback on one variant.
class VEYRAKIT_EXPORT AVPlayerItemAccessLog : public QMMediaLog<AVPlayerItemAccessLogEvent> {
public:
    AVPlayerItemAccessLog();
    ~AVPlayerItemAccessLog() override;
};
