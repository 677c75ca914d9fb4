#pragma once
#include "platform/avfoundation/QMMediaErrorLogEvent.h"

// One entry of an AVPlayer item's error log.
class VEYRAKIT_EXPORT AVPlayerItemErrorLogEvent : public QMMediaErrorLogEvent {
  public:
    AVPlayerItemErrorLogEvent();
    ~AVPlayerItemErrorLogEvent() override;
};
