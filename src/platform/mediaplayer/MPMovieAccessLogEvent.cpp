#include "platform/mediaplayer/MPMovieAccessLogEvent.h"

MPMovieAccessLogEvent::MPMovieAccessLogEvent() = default;

MPMovieAccessLogEvent::~MPMovieAccessLogEvent() = default;
