#pragma once
#include "platform/avfoundation/QMMediaAccessLogEvent.h"

// One entry of a movie player's access log: the common fields only.
class VEYRAKIT_EXPORT MPMovieAccessLogEvent : public QMMediaAccessLogEvent {
  public:
    MPMovieAccessLogEvent();
    ~MPMovieAccessLogEvent() override;
};
