#pragma once
#include "platform/avfoundation/AVPlayerItemErrorLogEvent.h"
#include "platform/avfoundation/QMMediaLog.h"

// The error log of a player item.
class VEYRAKIT_EXPORT AVPlayerItemErrorLog : public QMMediaLog<AVPlayerItemErrorLogEvent> {
  public:
    AVPlayerItemErrorLog();
    ~AVPlayerItemErrorLog() override;
};
