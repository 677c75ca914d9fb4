#pragma once
#include "veyrakit/platform/avfoundation/QMMediaLog.h"
#include "veyrakit/platform/mediaplayer/MPMovieAccessLogEvent.h"

namespace veyrakit {

// The access log of a movie player.
class VEYRAKIT_EXPORT MPMovieAccessLog : public QMMediaLog<MPMovieAccessLogEvent> {
  public:
    MPMovieAccessLog();
    ~MPMovieAccessLog() override;
};

}  // namespace veyrakit
