#pragma once
#include <gst/gst.h>

#include <functional>
#include <memory>

namespace veyrakit {

class QMGStreamerPipelineTap;

// How the backend sees a pipeline without touching it: a GStreamer tracer, whose hooks GStreamer
// calls for every message any element posts, every event any pad pushes, every element added to
// a bin and every object finalized, on whatever thread does it. Whichever way the app reads its
// bus (a watch, a signal watch, a sync handler, polling), the tracer sees the same messages.
//
// One tracer serves the process: made at run time on the first attach (install()), or by
// GStreamer itself when the backend's plugin is named in GST_TRACERS. Its hooks pass what
// concerns an attached pipeline to that pipeline's tap and return at once for everything else.
class QMGStreamerTracer {
  public:
    QMGStreamerTracer() = delete;

    // The tracer's GObject type (registered as the "veyrakit" tracer by the backend's plugin).
    static GType type();
    // Makes the process' tracer unless one exists. Needs GStreamer initialised.
    static void install();

    // Taps receive the hooks' facts from the moment they are added until they are removed.
    static void addTap(const std::shared_ptr<QMGStreamerPipelineTap>& tap);
    static void removeTap(const QMGStreamerPipelineTap* tap);

    // Called, on the creating thread, for every playbin3 and playbin made while it is set.
    using PlaybinHandler = std::function<void(GstElement* playbin)>;
    static void setPlaybinHandler(PlaybinHandler handler);
};

}  // namespace veyrakit
