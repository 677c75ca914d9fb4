#pragma once
#include <gst/gst.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

namespace veyrakit {

class QMRunLoop;

// What the tracer (QMGStreamerTracer) sees of one pipeline, carried over to the main run loop:
// the messages the pipeline posts to its bus, the seeks asked of it (a rate change is a seek too),
// the picture size reaching its video sink, and its end. GStreamer's threads call in; the handlers
// run later, on the main run loop only, so the player models are never touched from another
// thread. Nothing is delivered after close().
//
// It also counts the media the pipeline downloads, where GStreamer shows it: the bytes entering
// each parsebin that a source or an adaptive demuxer feeds (an HLS demuxer hands each fragment to
// its parsebin as downloaded, a file arrives whole), and the requests among them (a buffer at
// offset 0 starts a fragment or a file). GStreamer 1.22 posts no per-fragment figures of its own.
// The streaming threads only add to the counters; the main loop reads them.
//
// The tap changes nothing in the pipeline: it holds no reference to it, sets no bus handler and no
// property; its only traces in it are buffer probes on those parsebins, removed by close().
class QMGStreamerPipelineTap : public std::enable_shared_from_this<QMGStreamerPipelineTap> {
  public:
    struct Handlers {
        std::function<void(GstMessage* message)> message;
        // A seek to `position` seconds (negative: the position stays, only the rate changes).
        std::function<void(double position, double rate)> seek;
        std::function<void(int width, int height)> videoSize;
        // The pipeline was finalized by its owner.
        std::function<void()> gone;
    };

    // Made on the main run loop's thread; registers with the tracer.
    static std::shared_ptr<QMGStreamerPipelineTap> tap(GstElement* pipeline, std::shared_ptr<QMRunLoop> loop,
                                                       Handlers handlers);
    ~QMGStreamerPipelineTap();
    QMGStreamerPipelineTap(const QMGStreamerPipelineTap&) = delete;
    QMGStreamerPipelineTap& operator=(const QMGStreamerPipelineTap&) = delete;

    // Main loop: unregisters, removes the probes, and drops the handlers.
    void close();

    // Bytes and media requests counted so far; safe from any thread.
    int64_t downloadedBytes() const { return counters_->bytes.load(std::memory_order_relaxed); }
    int64_t mediaRequests() const { return counters_->requests.load(std::memory_order_relaxed); }

    // The tracer's side, on any thread.
    const GstElement* pipeline() const { return pipeline_; }
    void onMessage(GstMessage* message);
    void onSeek(GstEvent* event);
    void onVideoCaps(GstCaps* caps);
    void onParsebinAdded(GstElement* parsebin);
    void onFinalized();

    // Public for make_shared only: use tap().
    QMGStreamerPipelineTap(GstElement* pipeline, std::shared_ptr<QMRunLoop> loop, Handlers handlers);

  private:
    struct Counters {
        std::atomic<int64_t> bytes{0};
        std::atomic<int64_t> requests{0};
    };
    // Bus traffic no driver uses (the state changes of inner elements, stream status, tags) is
    // dropped on the posting thread instead of crossing to the main loop.
    bool isWanted(GstMessage* message) const;
    void deliver(std::function<void(const Handlers&)> call);
    static GstPadProbeReturn onDownloadedBuffer(GstPad* pad, GstPadProbeInfo* info, gpointer counters);

    // Compared, never dereferenced: the pipeline may be gone.
    GstElement* const pipeline_;
    const std::shared_ptr<QMRunLoop> loop_;
    // The main loop's own.
    Handlers handlers_;
    // Shared with the probes, which may fire until they are removed.
    const std::shared_ptr<Counters> counters_ = std::make_shared<Counters>();
    std::atomic<uint32_t> lastSeekSeqnum_{GST_SEQNUM_INVALID};
    std::atomic<int64_t> lastVideoSize_{-1};
    std::mutex probesMutex_;
    struct Probe {
        GWeakRef pad;
        gulong id;
    };
    std::vector<std::unique_ptr<Probe>> probes_;
    bool closed_ = false;
};

}  // namespace veyrakit
