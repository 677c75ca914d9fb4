#include "platform/mediaplayer/MPMovieErrorLogEvent.h"

MPMovieErrorLogEvent::MPMovieErrorLogEvent() = default;

MPMovieErrorLogEvent::~MPMovieErrorLogEvent() = default;
