#pragma once
#include <glib.h>

#include <memory>

#include "veyrakit/platform/QMExport.h"
namespace veyrakit {

class QMRunLoop;

// Serves the SDK's run loop from a GLib main context, so that an app running g_main_loop_run (a
// GTK or GStreamer app) needs to give the SDK no thread and no loop of its own: timers, URL
// transfers and posted tasks run on the thread that iterates the context, which the SDK then
// takes for its main thread. The source waits on the loop's backend descriptor and its next
// deadline (QMRunLoop::backendDescriptor, backendTimeoutMillis), so an idle SDK wakes the app
// only for its own timers and I/O. Attach and detach on the thread that iterates the context.
//
//   auto source = veyrakit::QMGLibRunLoopSource::attach();   // the main loop, the default context
//   g_main_loop_run(loop);
class VEYRAKIT_EXPORT QMGLibRunLoopSource {
  public:
    // `loop`: the SDK's main run loop when null; `context`: GLib's default main context when null.
    static std::unique_ptr<QMGLibRunLoopSource> attach(std::shared_ptr<QMRunLoop> loop = nullptr,
                                                       GMainContext* context = nullptr);
    // Removes the source from its context; the loop's work is left where it is.
    ~QMGLibRunLoopSource();
    QMGLibRunLoopSource(const QMGLibRunLoopSource&) = delete;
    QMGLibRunLoopSource& operator=(const QMGLibRunLoopSource&) = delete;

    // Iterates the context until the SDK has nothing under way (no request waiting for its answer,
    // no task to run), or `timeoutMillis` have passed: before an app leaves, so that the last
    // reports go out. Returns whether the SDK came to rest.
    bool drain(int timeoutMillis);

    // How many times the context dispatched the loop's work (an idle loop's figure is its timers).
    unsigned long dispatchCount() const;

  private:
    struct Source;
    QMGLibRunLoopSource(std::shared_ptr<QMRunLoop> loop, GMainContext* context);

    std::shared_ptr<QMRunLoop> loop_;
    GMainContext* context_ = nullptr;
    Source* source_ = nullptr;
};

}  // namespace veyrakit
