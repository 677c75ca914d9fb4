#pragma once
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "veyrakit/QMSessionDescription.h"
#include "veyrakit/gstreamer/QMGStreamerMonitor.h"

namespace veyrakit {

// What the zero-code tracer is told, from its parameters (GST_TRACERS="veyrakit(server=...)") or,
// for each one not given there, from an environment variable (VEYRAKIT_SERVER, ...):
//
//   server        the analytics server's base URL (required)                VEYRAKIT_SERVER
//   diag-ports    "N,M": the diagnostic events and session events ports      VEYRAKIT_DIAG_PORTS
//   player        "avplayer" (default) or "mpmovieplayer"                   VEYRAKIT_PLAYER
//   customer-id   the customer id                                           VEYRAKIT_CUSTOMER_ID
//   asset-id      default: the item's URI                                   VEYRAKIT_ASSET_ID
//   asset-name    default: the URI's last meaningful path segment           VEYRAKIT_ASSET_NAME
//   viewer-id     the viewer                                                VEYRAKIT_VIEWER_ID
//   metadata      asset metadata, "key=value;key=value"                     VEYRAKIT_METADATA
//
// Parsing is pure: the environment comes in as a function, and every bad or missing setting is one
// problem naming it. Settings with a problem are not used: a missing or bad server monitors nothing.
// Reading the parameters needs GStreamer initialised.
class QMGStreamerAgentSettings {
  public:
    using Environment = std::function<std::optional<std::string>(const char* name)>;

    static QMGStreamerAgentSettings parse(const std::string& parameters, const Environment& environment);

    // Whether monitoring can go ahead (a usable server).
    bool usable() const { return description.serverHost.has_value(); }
    // The monitor's options for every playbin.
    QMGStreamerMonitor::Options monitorOptions() const;

    QMGStreamerMonitor::PlayerKind player = QMGStreamerMonitor::PlayerKind::AVPlayer;
    QMSessionDescription description;
    // The diagnostic streams' URLs, when ports were given.
    std::optional<std::string> diagnosticEventsURL;
    std::optional<std::string> sessionEventsURL;
    // One line per bad or missing setting, naming it.
    std::vector<std::string> problems;
};

}  // namespace veyrakit
