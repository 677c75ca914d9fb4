#pragma once
#include "veyrakit/platform/avfoundation/QMMediaErrorLogEvent.h"

namespace veyrakit {

// One entry of an AVPlayer item's error log.
class VEYRAKIT_EXPORT AVPlayerItemErrorLogEvent : public QMMediaErrorLogEvent {
  public:
    AVPlayerItemErrorLogEvent();
    ~AVPlayerItemErrorLogEvent() override;
};

}  // namespace veyrakit
