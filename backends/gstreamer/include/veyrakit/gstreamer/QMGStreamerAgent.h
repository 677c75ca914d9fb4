#pragma once
#include <gst/gst.h>

#include <cstddef>
#include <string>

#include "veyrakit/platform/QMExport.h"

namespace veyrakit {

// Zero-code monitoring: the "veyrakit" tracer of the gstveyrakit plugin, which GStreamer makes when
// GST_TRACERS names it, monitors every playbin3 and playbin the process creates, with no code in
// the app:
//
//   export GST_PLUGIN_PATH=<prefix>/lib/gstreamer-1.0
//   GST_TRACERS='veyrakit(server=http://127.0.0.1:8080,diag-ports="8081,8082")' gst-play-1.0 movie.mp4
//
// The SDK's main run loop runs on a thread of the agent's own, started with the first playbin;
// the thread that creates a playbin waits (at most kAttachWaitMillis) for it to be attached, so
// that no message of it is missed. Each playbin is monitored in attach mode (QMGStreamerMonitor):
// a session per item, ended when the pipeline goes to null, changes URI or is disposed. At
// gst_deinit() or process exit the sessions in progress end with their final reports, which get
// at most kShutdownMillis to go out; then the thread ends.
class VEYRAKIT_EXPORT QMGStreamerAgent {
  public:
    QMGStreamerAgent() = delete;

    static constexpr int kAttachWaitMillis = 1000;
    static constexpr int kShutdownMillis = 2000;

    // Registers the tracer with `plugin` (the plugin's init function calls it).
    static bool registerTracer(GstPlugin* plugin);
    // Starts monitoring every playbin created from now on, with the tracer's parameters (and the
    // environment for what they leave out), as the tracer does: for a host that would rather
    // start it in code. False, with a warning on GStreamer's debug log per bad or missing setting,
    // when it cannot (no usable server). Needs GStreamer initialised.
    static bool start(const std::string& parameters);
    // Ends the sessions, waits for their final reports (bounded) and stops the agent's thread;
    // playbins made afterwards are not monitored until the next start(). Safe to call more than
    // once and from any thread but the agent's.
    static void shutdown();
    // How many playbins are monitored now, and the agent thread's state (for tests).
    static std::size_t monitoredCount();
    static bool isRunning();
};

}  // namespace veyrakit
