#pragma once
#include "events/QMEventManager.h"

namespace veyrakit {

// The handlers of an AVPlayer plugin: the media error handler only. (The diagnostic reporter is
// owned by the plugin, not handled here.)
class QMAVPlayerEventManager : public QMEventManager {
  public:
    QMAVPlayerEventManager();
};

}  // namespace veyrakit
