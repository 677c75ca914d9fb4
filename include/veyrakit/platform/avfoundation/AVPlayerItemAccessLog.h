#pragma once
#include "veyrakit/platform/avfoundation/AVPlayerItemAccessLogEvent.h"
#include "veyrakit/platform/avfoundation/QMMediaLog.h"

namespace veyrakit {

// The access log of a player item: one event per stretch of playback on one variant.
class VEYRAKIT_EXPORT AVPlayerItemAccessLog : public QMMediaLog<AVPlayerItemAccessLogEvent> {
  public:
    AVPlayerItemAccessLog();
    ~AVPlayerItemAccessLog() override;
};

}  // namespace veyrakit
