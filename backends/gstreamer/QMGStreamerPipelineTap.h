#pragma once
#include <gst/gst.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "QMGStreamerProblem.h"
#include "QMGStreamerVariantTracker.h"
#include "veyrakit/gstreamer/QMGStreamerPipelineListener.h"

namespace veyrakit {

class QMRunLoop;

// What the tracer (QMGStreamerTracer) sees of one pipeline, carried over to the main run loop:
// the messages the pipeline posts to its bus, the seeks asked of it (a rate change is a seek too),
// the picture size reaching its video sink, the HLS variant whose pictures are shown, what it
// downloads, and its end. GStreamer's threads call in; the handlers run later, on the main run
// loop only, so the player models are never touched from another thread. Nothing is delivered
// after close().
//
// Downloads are counted where GStreamer shows them: the bytes entering each parsebin that a source
// or an adaptive demuxer feeds (an HLS demuxer hands each fragment to its parsebin as downloaded, a
// file arrives whole), the requests among them (a buffer at offset 0 starts a fragment or a file),
// and the time each took to arrive. GStreamer 1.22 posts no per-fragment figures of its own. The
// figures are handed over as they grow, at most four times a second.
//
// The variant shown (QMGStreamerVariantTracker) comes from the master playlist the adaptive
// demuxer reads, the fragments it hands on and the pictures that reach the video sink.
//
// The tap changes nothing in the pipeline: it holds no reference to it, sets no bus handler and no
// property; its only traces in it are pad probes that watch and pass everything on, removed by
// close().
class QMGStreamerPipelineTap : public std::enable_shared_from_this<QMGStreamerPipelineTap> {
  public:
    using Downloads = QMGStreamerDownloads;
    struct Handlers {
        // `cause`: for an error whose source said only that its download failed, what a check of
        // the server found (QMGStreamerReachability); Unknown otherwise.
        std::function<void(GstMessage* message, QMGStreamerCause cause)> message;
        // A seek to `position` seconds (negative: the position stays, only the rate changes).
        std::function<void(double position, double rate)> seek;
        std::function<void(int width, int height)> videoSize;
        std::function<void(const std::string& uri, double bitrate)> variantShown;
        std::function<void(const Downloads& downloads)> downloaded;
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

    // What was downloaded so far; safe from any thread.
    Downloads downloads() const;
    // Where in the stream the last picture shown was, in seconds; safe from any thread. Unlike a
    // position query, which at the end of a stream may answer with the end it announced.
    std::optional<double> lastShownSeconds() const;

    // The tracer's side, on any thread.
    const GstElement* pipeline() const { return pipeline_; }
    void onMessage(GstMessage* message);
    void onSeek(GstEvent* event);
    // Raw video caps pushed into `sinkPad`, the pad of a sink (or a sink bin).
    void onVideoCaps(GstPad* sinkPad, GstCaps* caps);
    void onParsebinAdded(GstElement* parsebin);
    void onAdaptiveDemuxerAdded(GstElement* demuxer);
    // Caps pushed out of an adaptive demuxer's `sourcePad`.
    void onDemuxerCaps(GstPad* sourcePad, GstCaps* caps);
    void onFinalized();

    // Public for make_shared only: use tap().
    QMGStreamerPipelineTap(GstElement* pipeline, std::shared_ptr<QMRunLoop> loop, Handlers handlers);

  private:
    // What the probes share with the tap; they may fire until they are removed.
    struct Shared;
    struct Probe {
        GWeakRef pad;
        gulong id;
    };
    // Bus traffic no driver uses (the state changes of inner elements, stream status, tags) is
    // dropped on the posting thread instead of crossing to the main loop.
    bool isWanted(GstMessage* message) const;
    void deliver(std::function<void(const Handlers&)> call);
    // Holds back `error` and everything after it while the server behind it is checked (at most
    // kServerCheckMillis), then delivers them in order: the driver learns the cause before the
    // app's reaction to the error (which is typically to stop).
    void checkServerThenDeliver(GstMessage* error, const std::string& uri);
    void release(const std::shared_ptr<GstMessage>& error, QMGStreamerCause cause);
    // Watches `pad` with `callback` (once per pad), until close().
    void watch(GstPad* pad, GstPadProbeType type, GstPadProbeCallback callback, void* state,
               GDestroyNotify destroy);
    static GstPadProbeReturn onDownloadedBuffer(GstPad* pad, GstPadProbeInfo* info, gpointer state);
    static GstPadProbeReturn onManifestData(GstPad* pad, GstPadProbeInfo* info, gpointer state);
    static GstPadProbeReturn onDemuxedData(GstPad* pad, GstPadProbeInfo* info, gpointer state);
    static GstPadProbeReturn onShownPicture(GstPad* pad, GstPadProbeInfo* info, gpointer state);

    // Compared, never dereferenced: the pipeline may be gone.
    GstElement* const pipeline_;
    const std::shared_ptr<QMRunLoop> loop_;
    // The main loop's own.
    Handlers handlers_;
    const std::shared_ptr<Shared> shared_;
    std::atomic<uint32_t> lastSeekSeqnum_{GST_SEQNUM_INVALID};
    std::atomic<int64_t> lastVideoSize_{-1};
    std::mutex probesMutex_;
    std::vector<std::unique_ptr<Probe>> probes_;
    std::vector<const GstPad*> watchedPads_;
    std::atomic<bool> closed_{false};
    std::mutex deliverMutex_;
    bool holding_ = false;
    std::vector<std::function<void(const Handlers&)>> heldBack_;
};

}  // namespace veyrakit
