#pragma once
#include <optional>
#include <string>

#include "veyrakit/platform/QMExport.h"

namespace veyrakit {

// Where the two diagnostic streams go. The AVPlayer diagnostic reporter posts its session events
// to "http://<host>:8082/sessionEventsHandler/sessions" and the MPMoviePlayerController
// diagnostic handler its events to "http://<host>:8081/veyrakit/", where <host> is the host of
// the plugin's server URL. A host application whose diagnostic collector lives elsewhere sets
// the whole URL of either stream here, before it creates the plugin; nothing restores the
// default. Call on the main thread.
class VEYRAKIT_EXPORT QMDiagnosticCollectors {
  public:
    QMDiagnosticCollectors() = delete;

    static void setSessionEventsURL(std::optional<std::string> url);
    static void setDiagnosticEventsURL(std::optional<std::string> url);

    // The URL in force for a plugin whose server URL is serverHost ("https://host[:port][/path]").
    static std::string sessionEventsURLForServerHost(const std::string& serverHost);
    static std::string diagnosticEventsURLForServerHost(const std::string& serverHost);
};

}  // namespace veyrakit
