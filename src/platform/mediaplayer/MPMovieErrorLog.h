#pragma once
#include "platform/avfoundation/QMMediaLog.h"
#include "platform/mediaplayer/MPMovieErrorLogEvent.h"

// The error log of a movie player.
class VEYRAKIT_EXPORT MPMovieErrorLog : public QMMediaLog<MPMovieErrorLogEvent> {
  public:
    MPMovieErrorLog();
    ~MPMovieErrorLog() override;
};
