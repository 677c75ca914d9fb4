#include "platform/avfoundation/QMMediaErrorLogEvent.h"

QMMediaErrorLogEvent::QMMediaErrorLogEvent() = default;

QMMediaErrorLogEvent::~QMMediaErrorLogEvent() = default;
