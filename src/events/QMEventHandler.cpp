#include "events/QMEventHandler.h"

void QMEventHandler::attachHandlers() {}

void QMEventHandler::detachHandlers() {}
