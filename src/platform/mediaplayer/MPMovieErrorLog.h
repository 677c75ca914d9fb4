#pragma once
#include <memory>
#include <vector>

#include "platform/mediaplayer/MPMovieErrorLogEvent.h"

// The error log of a movie player.
class VEYRAKIT_EXPORT MPMovieErrorLog : public QMObject {
public:
    MPMovieErrorLog();
    ~MPMovieErrorLog() override;

    // Oldest first; the last one is the newest.
    const std::vector<std::shared_ptr<MPMovieErrorLogEvent>>& events() const { return events_; }
    // Used by whoever drives the player; the player posts its own notification, if any.
    void addEvent(std::shared_ptr<MPMovieErrorLogEvent> event);

private:
    std::vector<std::shared_ptr<MPMovieErrorLogEvent>> events_;
};
