#pragma once
#include "veyrakit/platform/avfoundation/QMMediaErrorLogEvent.h"

namespace veyrakit {

// One entry of a movie player's error log.
class VEYRAKIT_EXPORT MPMovieErrorLogEvent : public QMMediaErrorLogEvent {
  public:
    MPMovieErrorLogEvent();
    ~MPMovieErrorLogEvent() override;
};

}  // namespace veyrakit
