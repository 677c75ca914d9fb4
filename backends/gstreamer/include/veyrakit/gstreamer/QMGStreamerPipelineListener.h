#pragma once
#include <gst/gst.h>

#include <cstdint>
#include <map>
#include <string>

#include "veyrakit/platform/QMExport.h"
namespace veyrakit {

class QMGStreamerProblem;

// Media downloaded: bytes, the fragments or files among them, and how long the bytes took to
// arrive (each fragment from its first buffer to its last).
struct QMGStreamerTransfers {
    int64_t bytes = 0;
    int64_t requests = 0;
    double transferSeconds = 0.0;
};

// What a pipeline has downloaded so far, in all and for each HLS variant playlist (by its URI; ""
// for media that has no variants).
struct QMGStreamerDownloads {
    QMGStreamerTransfers total;
    std::map<std::string, QMGStreamerTransfers> byVariant;
};

// What a QMGStreamerPipeline tells its listeners, as plain facts decoded from what the pipeline
// posts and is asked. Every call arrives on the main run loop's thread, in the order GStreamer
// produced them, and none after the pipeline is closed.
class VEYRAKIT_EXPORT QMGStreamerPipelineListener {
  public:
    virtual ~QMGStreamerPipelineListener() = default;

    // The media downloaded so far, announced as it grows and before every other fact, so that a
    // driver's logs stay current.
    virtual void pipelineDownloaded(const QMGStreamerDownloads& /*downloads*/) {}
    // The pipeline has prerolled (the first time, and again after every flushing seek).
    virtual void pipelinePrerolled() {}
    // The fill level of the buffering elements; below 100 the pipeline runs dry.
    virtual void pipelineBuffering(int /*percent*/) {}
    // The pipeline as a whole has reached `current` on its way to `target`, the state its owner
    // asked for (the same once it is there).
    virtual void pipelineStateChanged(GstState /*current*/, GstState /*target*/) {}
    // Its owner asked for a seek to `position` seconds (negative: the position stays) at `rate`.
    virtual void pipelineSeeked(double /*position*/, double /*rate*/) {}
    // The streams of the medium are known: whether there is a picture, whether there is sound.
    // Announced again when a demuxer finds more.
    virtual void pipelineStreamsAnnounced(bool /*video*/, bool /*audio*/) {}
    // The pictures shown now come from the HLS variant playlist `uri` of `bitrate` bits per second
    // (the first variant, and every switch, at the moment its first picture is shown).
    virtual void pipelineVariantShown(const std::string& /*uri*/, double /*bitrate*/) {}
    // A new picture format reached the video sink.
    virtual void pipelineVideoSize(int /*width*/, int /*height*/) {}
    // A download failed with an HTTP status and playback goes on.
    virtual void pipelineHTTPWarning(const QMGStreamerProblem& /*problem*/) {}
    // Playback cannot go on.
    virtual void pipelineError(const QMGStreamerProblem& /*problem*/) {}
    virtual void pipelineEndOfStream() {}
    // The media's duration may have changed (ask durationSeconds()).
    virtual void pipelineDurationChanged() {}
    // Its owner let the pipeline go (finalized): nothing more will come.
    virtual void pipelineGone() {}
};

}  // namespace veyrakit
