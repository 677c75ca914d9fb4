#include "platform/avfoundation/QMMediaAccessLogEvent.h"

QMMediaAccessLogEvent::QMMediaAccessLogEvent() = default;

QMMediaAccessLogEvent::~QMMediaAccessLogEvent() = default;
