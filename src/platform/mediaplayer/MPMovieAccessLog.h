#pragma once
#include <memory>
#include <vector>

#include "platform/mediaplayer/MPMovieAccessLogEvent.h"

// The access log of a movie player.
class VEYRAKIT_EXPORT MPMovieAccessLog : public QMObject {
public:
    MPMovieAccessLog();
    ~MPMovieAccessLog() override;

    // Oldest first; the last one is the newest.
    const std::vector<std::shared_ptr<MPMovieAccessLogEvent>>& events() const { return events_; }
    // Used by whoever drives the player; the player posts its own notification, if any.
    void addEvent(std::shared_ptr<MPMovieAccessLogEvent> event);

private:
    std::vector<std::shared_ptr<MPMovieAccessLogEvent>> events_;
};
