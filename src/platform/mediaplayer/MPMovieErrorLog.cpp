#include "platform/mediaplayer/MPMovieErrorLog.h"

MPMovieErrorLog::MPMovieErrorLog() = default;

MPMovieErrorLog::~MPMovieErrorLog() = default;
