#pragma once
#include <string>

#include "collector/QMCollectorServer.h"

namespace veyrakit {

// The reference collector as the GStreamer tests run it: on loopback ports it chose itself, with
// what it receives kept in memory, asking for a periodical report every second.
class QMLoopbackCollector : public QMCollectorServer {
  public:
    // Listening on all three ports once constructed.
    QMLoopbackCollector();

    // Points the SDK's two diagnostic event streams at this collector.
    void receiveDiagnosticEvents() const;
    // The agent's settings reporting to `server`, with the diagnostic event streams on this
    // collector: server=...,diag-ports="...,...".
    std::string agentSettings(const std::string& server) const;
};

}  // namespace veyrakit
