#pragma once
#include "veyrakit/platform/QMObject.h"

namespace veyrakit {

// Watches one aspect of the player; its event manager switches it on and off with its siblings.
class QMEventHandler : public QMObject {
  public:
    QMEventHandler() = default;

    virtual void attachHandlers();
    virtual void detachHandlers();
};

}  // namespace veyrakit
