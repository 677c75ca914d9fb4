#pragma once
#include "events/QMEventManager.h"

namespace veyrakit {

// The handlers of an MPMoviePlayerController plugin, in attachment order: the media error handler,
// then the diagnostic handler.
class QMMPMoviePlayerEventManager : public QMEventManager {
  public:
    QMMPMoviePlayerEventManager();
};

}  // namespace veyrakit
