#pragma once
#include "veyrakit/platform/avfoundation/QMMediaLog.h"
#include "veyrakit/platform/mediaplayer/MPMovieErrorLogEvent.h"

namespace veyrakit {

// The error log of a movie player.
class VEYRAKIT_EXPORT MPMovieErrorLog : public QMMediaLog<MPMovieErrorLogEvent> {
  public:
    MPMovieErrorLog();
    ~MPMovieErrorLog() override;
};

}  // namespace veyrakit
