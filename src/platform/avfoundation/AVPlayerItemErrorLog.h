#pragma once
#include <memory>
#include <vector>

#include "platform/avfoundation/AVPlayerItemErrorLogEvent.h"

// The error log of a player item.
class VEYRAKIT_EXPORT AVPlayerItemErrorLog : public QMObject {
public:
    AVPlayerItemErrorLog();
    ~AVPlayerItemErrorLog() override;

    // Oldest first; the last one is the newest.
    const std::vector<std::shared_ptr<AVPlayerItemErrorLogEvent>>& events() const { return events_; }
    // Used by whoever drives the player; the player posts its own notification, if any.
    void addEvent(std::shared_ptr<AVPlayerItemErrorLogEvent> event);

private:
    std::vector<std::shared_ptr<AVPlayerItemErrorLogEvent>> events_;
};
