#pragma once
#include "platform/avfoundation/QMMediaLog.h"
#include "platform/mediaplayer/MPMovieAccessLogEvent.h"

// The access log of a movie player.
class VEYRAKIT_EXPORT MPMovieAccessLog : public QMMediaLog<MPMovieAccessLogEvent> {
  public:
    MPMovieAccessLog();
    ~MPMovieAccessLog() override;
};
