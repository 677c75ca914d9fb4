#include "veyrakit/QMDiagnosticCollectors.h"

#include <utility>

#include "veyrakit/platform/QMURL.h"

namespace veyrakit {

namespace {

struct Overrides {
    std::optional<std::string> sessionEvents;
    std::optional<std::string> diagnosticEvents;
};

Overrides& overrides() {
    static Overrides instance;
    return instance;
}

// Plain HTTP on the stream's own port of the server's host; a server URL without a host (not a
// URL at all) leaves "localhost", so that the post fails on this machine rather than elsewhere.
std::string onServerHost(const std::string& serverHost, const char* portAndPath) {
    auto url = QMURL::URLWithString(serverHost);
    std::string host = url ? url->host() : std::string();
    return "http://" + (host.empty() ? std::string("localhost") : host) + portAndPath;
}

}  // namespace

void QMDiagnosticCollectors::setSessionEventsURL(std::optional<std::string> url) {
    overrides().sessionEvents = std::move(url);
}

void QMDiagnosticCollectors::setDiagnosticEventsURL(std::optional<std::string> url) {
    overrides().diagnosticEvents = std::move(url);
}

std::string QMDiagnosticCollectors::sessionEventsURLForServerHost(const std::string& serverHost) {
    if (overrides().sessionEvents) {
        return *overrides().sessionEvents;
    }
    return onServerHost(serverHost, ":8082/sessionEventsHandler/sessions");
}

std::string QMDiagnosticCollectors::diagnosticEventsURLForServerHost(const std::string& serverHost) {
    if (overrides().diagnosticEvents) {
        return *overrides().diagnosticEvents;
    }
    return onServerHost(serverHost, ":8081/veyrakit/");
}

}  // namespace veyrakit
