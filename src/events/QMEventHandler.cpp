#include "events/QMEventHandler.h"

namespace veyrakit {

void QMEventHandler::attachHandlers() {}

void QMEventHandler::detachHandlers() {}

}  // namespace veyrakit
