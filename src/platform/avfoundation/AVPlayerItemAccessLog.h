#pragma once
#include <memory>
#include <vector>

#include "platform/avfoundation/AVPlayerItemAccessLogEvent.h"

// The access log of a player item: one event per stretch of playback on one variant.
class VEYRAKIT_EXPORT AVPlayerItemAccessLog : public QMObject {
public:
    AVPlayerItemAccessLog();
    ~AVPlayerItemAccessLog() override;

    // Oldest first; the last one is the newest.
    const std::vector<std::shared_ptr<AVPlayerItemAccessLogEvent>>& events() const { return events_; }
    // Used by whoever drives the player; the player posts its own notification, if any.
    void addEvent(std::shared_ptr<AVPlayerItemAccessLogEvent> event);

private:
    std::vector<std::shared_ptr<AVPlayerItemAccessLogEvent>> events_;
};
