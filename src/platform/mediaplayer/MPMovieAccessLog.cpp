#include "platform/mediaplayer/MPMovieAccessLog.h"

MPMovieAccessLog::MPMovieAccessLog() = default;

MPMovieAccessLog::~MPMovieAccessLog() = default;
