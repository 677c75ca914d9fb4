#include "platform/mediaplayer/MPMovieAccessLog.h"

MPMovieAccessLog::MPMovieAccessLog() = default;

MPMovieAccessLog::~MPMovieAccessLog() = default;

void MPMovieAccessLog::addEvent(std::shared_ptr<MPMovieAccessLogEvent> event) {
    if (event) {
        events_.push_back(std::move(event));
    }
}
