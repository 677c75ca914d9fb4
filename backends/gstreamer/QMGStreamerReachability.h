#pragma once
#include <string>

#include "QMGStreamerProblem.h"

namespace veyrakit {

// Why a download from a server failed, where GStreamer's HTTP source says only that it did (it
// posts the same error for a refused connection, an unknown host and a server that never
// answers): the server's name is resolved and a connection tried, within a time budget. Blocking:
// run off every thread that must not wait.
class QMGStreamerReachability {
  public:
    // HostNotFound, CannotConnect, TimedOut, or Unknown when the server can be reached (the
    // failure lies elsewhere) or the URI names none.
    static QMGStreamerCause check(const std::string& uri, int budgetMillis);
};

}  // namespace veyrakit
