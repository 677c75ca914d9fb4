#pragma once
#include "platform/avfoundation/AVPlayerItemAccessLogEvent.h"
#include "platform/avfoundation/QMMediaLog.h"

// The access log of a player item: one event per stretch of playback on one variant.
class VEYRAKIT_EXPORT AVPlayerItemAccessLog : public QMMediaLog<AVPlayerItemAccessLogEvent> {
  public:
    AVPlayerItemAccessLog();
    ~AVPlayerItemAccessLog() override;
};
