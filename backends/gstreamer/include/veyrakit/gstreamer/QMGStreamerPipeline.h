#pragma once
#include <gst/gst.h>

#include <memory>
#include <optional>
#include <string>

namespace veyrakit {

class QMGStreamerMainLoopBridge;
class QMGStreamerPipelineListener;

// A playbin3 pipeline for one URI (a media file or an HLS master playlist), as both player
// drivers use it: headless fake sinks that consume in real time, the bus and the video sink's
// picture formats carried to the main run loop (QMGStreamerMainLoopBridge), and the messages
// decoded into QMGStreamerPipelineListener's facts. Made, used and closed on the main run loop's
// thread.
class QMGStreamerPipeline : public std::enable_shared_from_this<QMGStreamerPipeline> {
  public:
    struct Options {
        // Nothing is shown or heard: fake sinks that still consume in real time.
        bool headless = true;
    };

    // Throws std::runtime_error when GStreamer does not start or playbin3 is missing. The
    // listener must outlive the pipeline or close it first. The pipeline does nothing until the
    // first requestState().
    static std::shared_ptr<QMGStreamerPipeline> pipelineWithURI(const std::string& uri, Options options,
                                                                QMGStreamerPipelineListener* listener);
    ~QMGStreamerPipeline();
    QMGStreamerPipeline(const QMGStreamerPipeline&) = delete;
    QMGStreamerPipeline& operator=(const QMGStreamerPipeline&) = delete;

    // Asks for PAUSED or PLAYING; asking again for the state last asked for does nothing.
    void requestState(GstState state);
    // A flushing seek to the keyframe at or before `seconds`.
    void seekTo(double seconds);
    // The media's duration, when the pipeline knows it (not for live streams).
    std::optional<double> durationSeconds() const;
    // Brings the pipeline down (joining GStreamer's threads) and tells the listener nothing more.
    void close();
    bool isOpen() const { return element_ != nullptr; }

    // Public for make_shared only: use pipelineWithURI.
    QMGStreamerPipeline(QMGStreamerPipelineListener* listener);

  private:
    void open(const std::string& uri, Options options);
    void handleMessage(GstMessage* message);
    void onStateChanged(GstMessage* message);
    void onStatistics(GstMessage* message);
    void onStreamCollection(GstMessage* message);
    void onVideoSize(int width, int height);

    QMGStreamerPipelineListener* listener_;
    GstElement* element_ = nullptr;
    std::unique_ptr<QMGStreamerMainLoopBridge> bridge_;
    GstState requested_ = GST_STATE_VOID_PENDING;
};

}  // namespace veyrakit
