#include "platform/mediaplayer/MPMovieErrorLog.h"

MPMovieErrorLog::MPMovieErrorLog() = default;

MPMovieErrorLog::~MPMovieErrorLog() = default;

void MPMovieErrorLog::addEvent(std::shared_ptr<MPMovieErrorLogEvent> event) {
    if (event) {
        events_.push_back(std::move(event));
    }
}
