#pragma once
#include <gst/gst.h>

#include <functional>
#include <memory>

class QMRunLoop;

// Carries what GStreamer's own threads see over to the main run loop: every bus message the
// driver uses, and the picture size of each new video format. GStreamer calls in on its
// streaming threads; the handlers run later, on the main run loop only, so the player models are
// never touched from another thread. Nothing is delivered after detach().
class QMGStreamerMainLoopBridge {
  public:
    using MessageHandler = std::function<void(GstMessage* message)>;
    using VideoSizeHandler = std::function<void(int width, int height)>;

    QMGStreamerMainLoopBridge(std::shared_ptr<QMRunLoop> loop, MessageHandler onMessage,
                              VideoSizeHandler onVideoSize);
    ~QMGStreamerMainLoopBridge();
    QMGStreamerMainLoopBridge(const QMGStreamerMainLoopBridge&) = delete;
    QMGStreamerMainLoopBridge& operator=(const QMGStreamerMainLoopBridge&) = delete;

    // `videoSink` may be null (no picture size then).
    void attach(GstElement* pipeline, GstElement* videoSink);
    // Call once the pipeline has been brought to NULL: its threads are gone.
    void detach();

  private:
    static GstBusSyncReply onBusMessage(GstBus* bus, GstMessage* message, gpointer self);
    static GstPadProbeReturn onVideoEvent(GstPad* pad, GstPadProbeInfo* info, gpointer self);
    // Bus traffic the driver has no use for (the state changes of every inner element, stream
    // status, tags) is dropped on the streaming thread instead of crossing to the main loop.
    static bool isWanted(GstMessage* message, GstElement* pipeline);

    // Read by GStreamer's threads: set before attach() hands this bridge to them, never changed
    // after.
    std::shared_ptr<QMRunLoop> loop_;
    MessageHandler onMessage_;
    VideoSizeHandler onVideoSize_;
    GstElement* pipeline_ = nullptr;
    // The main loop's own.
    bool attached_ = false;
    GstPad* videoPad_ = nullptr;
    gulong probeId_ = 0;
};
