#pragma once
#include "platform/avfoundation/QMMediaErrorLogEvent.h"

// One entry of a movie player's error log.
class VEYRAKIT_EXPORT MPMovieErrorLogEvent : public QMMediaErrorLogEvent {
  public:
    MPMovieErrorLogEvent();
    ~MPMovieErrorLogEvent() override;
};
