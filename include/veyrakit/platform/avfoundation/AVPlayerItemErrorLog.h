#pragma once
#include "veyrakit/platform/avfoundation/AVPlayerItemErrorLogEvent.h"
#include "veyrakit/platform/avfoundation/QMMediaLog.h"

namespace veyrakit {

// The error log of a player item.
class VEYRAKIT_EXPORT AVPlayerItemErrorLog : public QMMediaLog<AVPlayerItemErrorLogEvent> {
  public:
    AVPlayerItemErrorLog();
    ~AVPlayerItemErrorLog() override;
};

}  // namespace veyrakit
