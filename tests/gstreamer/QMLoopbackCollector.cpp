#include "gstreamer/QMLoopbackCollector.h"

#include <nlohmann/json.hpp>

#include "veyrakit/QMDiagnosticCollectors.h"

namespace veyrakit {

namespace {

QMCollectorServer::Options loopbackOptions() {
    QMCollectorServer::Options options;
    options.port = options.diagnosticEventsPort = options.sessionEventsPort = 0;
    options.databasePath = ":memory:";
    options.policy =
        QMCollectorPolicy::fromJSON(nlohmann::ordered_json::parse(R"({"init":{"intervalSeconds":1000}})"));
    return options;
}

}  // namespace

QMLoopbackCollector::QMLoopbackCollector() : QMCollectorServer(loopbackOptions()) { start(); }

void QMLoopbackCollector::receiveDiagnosticEvents() const {
    QMDiagnosticCollectors::setSessionEventsURL(sessionEventsURL());
    QMDiagnosticCollectors::setDiagnosticEventsURL(diagnosticEventsURL());
}

std::string QMLoopbackCollector::agentSettings(const std::string& server) const {
    return "server=" + server + ",diag-ports=\"" + std::to_string(diagnosticEventsPort()) + "," +
           std::to_string(sessionEventsPort()) + "\"";
}

}  // namespace veyrakit
