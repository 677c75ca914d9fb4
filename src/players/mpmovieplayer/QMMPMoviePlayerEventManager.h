#pragma once
#include "events/QMEventManager.h"

// The handlers of an MPMoviePlayerController plugin: the media error handler. (The diagnostic
// handler joins it, after it, once that handler exists.)
class QMMPMoviePlayerEventManager : public QMEventManager {
  public:
    QMMPMoviePlayerEventManager();
};
