#pragma once
#include <gst/gst.h>

#include <cstdint>
#include <string>

namespace veyrakit {

class QMGStreamerProblem;

// What a QMGStreamerPipeline tells its driver, as plain facts decoded from the bus and the video
// sink. Every call arrives on the main run loop's thread, in the order GStreamer produced them,
// and none after the pipeline is closed.
class QMGStreamerPipelineListener {
  public:
    virtual ~QMGStreamerPipelineListener() = default;

    // The media downloaded so far (bytes, and the fragments or files among them), announced
    // before every other fact so that a driver's logs stay current.
    virtual void pipelineDownloaded(int64_t /*bytes*/, int64_t /*mediaRequests*/) {}
    // The pipeline has prerolled (the first one, and again after every flushing seek).
    virtual void pipelinePrerolled() = 0;
    // The fill level of the buffering elements; below 100 the pipeline runs dry.
    virtual void pipelineBuffering(int percent) = 0;
    // The pipeline as a whole has reached `state`.
    virtual void pipelineStateReached(GstState state) = 0;
    // The streams of the medium are known: whether there is a picture, whether there is sound.
    // Announced again when a demuxer finds more; a player model without media types ignores it.
    virtual void pipelineStreamsAnnounced(bool /*video*/, bool /*audio*/) {}
    // The HLS demuxer switched to (or started with) the variant playlist `uri` of `bitrate` bits
    // per second. `measuredBitrate` is its download bandwidth, or -1 when it has none.
    virtual void pipelineVariantAnnounced(const std::string& uri, double bitrate, double measuredBitrate) = 0;
    // A new picture format reached the video sink.
    virtual void pipelineVideoSize(int width, int height) = 0;
    // A download failed with an HTTP status and playback goes on.
    virtual void pipelineHTTPWarning(const QMGStreamerProblem& problem) = 0;
    // Playback cannot go on.
    virtual void pipelineError(const QMGStreamerProblem& problem) = 0;
    virtual void pipelineEndOfStream() = 0;
};

}  // namespace veyrakit
