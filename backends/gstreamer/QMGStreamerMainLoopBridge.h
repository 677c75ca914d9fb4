#pragma once
#include <gst/gst.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>

namespace veyrakit {

class QMRunLoop;

// Carries what GStreamer's own threads see over to the main run loop: every bus message the
// driver uses, and the picture size of each new video format. GStreamer calls in on its
// streaming threads; the handlers run later, on the main run loop only, so the player models are
// never touched from another thread. Nothing is delivered after detach().
//
// It also counts the media the pipeline downloads, where GStreamer shows it: the bytes entering
// each parsebin that a source or an adaptive demuxer feeds (an HLS demuxer hands each fragment
// to its parsebin as downloaded, a file arrives whole), and the requests among them (a buffer at
// offset 0 starts a fragment or a file). GStreamer 1.22 posts no per-fragment figures of its own.
// The streaming threads only add to the counters; the main loop reads them.
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

    // Bytes and media requests counted so far; safe from any thread.
    int64_t downloadedBytes() const { return downloadedBytes_.load(std::memory_order_relaxed); }
    int64_t mediaRequests() const { return mediaRequests_.load(std::memory_order_relaxed); }

  private:
    static GstBusSyncReply onBusMessage(GstBus* bus, GstMessage* message, gpointer self);
    static GstPadProbeReturn onVideoEvent(GstPad* pad, GstPadProbeInfo* info, gpointer self);
    // Bus traffic the driver has no use for (the state changes of every inner element, stream
    // status, tags) is dropped on the streaming thread instead of crossing to the main loop.
    static bool isWanted(GstMessage* message, GstElement* pipeline);
    static void onElementAdded(GstBin* pipeline, GstBin* bin, GstElement* element, gpointer self);
    static GstPadProbeReturn onDownloadedBuffer(GstPad* pad, GstPadProbeInfo* info, gpointer self);
    // A parsebin whose input is what was downloaded: in a source bin or an adaptive demuxer.
    static bool takesDownloads(GstElement* element);

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
    gulong elementAddedId_ = 0;
    // Added to on GStreamer's streaming threads.
    std::atomic<int64_t> downloadedBytes_{0};
    std::atomic<int64_t> mediaRequests_{0};
};

}  // namespace veyrakit
