#pragma once
#include "veyrakit/platform/avfoundation/QMMediaAccessLogEvent.h"

namespace veyrakit {

// One entry of a movie player's access log: the common fields only.
class VEYRAKIT_EXPORT MPMovieAccessLogEvent : public QMMediaAccessLogEvent {
  public:
    MPMovieAccessLogEvent();
    ~MPMovieAccessLogEvent() override;
};

}  // namespace veyrakit
