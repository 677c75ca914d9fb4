#pragma once
#include "platform/avfoundation/QMMediaLog.h"
#include "platform/avfoundation/AVPlayerItemErrorLogEvent.h"

// The error log of a player item.
class VEYRAKIT_EXPORT AVPlayerItemErrorLog : public QMMediaLog<AVPlayerItemErrorLogEvent> {
public:
    AVPlayerItemErrorLog();
    ~AVPlayerItemErrorLog() override;
};
