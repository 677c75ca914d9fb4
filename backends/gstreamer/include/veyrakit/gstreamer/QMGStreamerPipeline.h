#pragma once
#include <gst/gst.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "veyrakit/platform/QMExport.h"
namespace veyrakit {

class QMGStreamerPipelineListener;
enum class QMGStreamerCause;
class QMGStreamerPipelineTap;

// A playbin3 or playbin pipeline as the backend follows it, in one of two ways:
//   - attached: the app's own pipeline, which the backend never changes (no state, sink, URI or
//     property of it, no bus handler), and holds no reference to: the app may drop it at any time;
//   - owned: a playbin3 the backend builds for one URI (headless fake sinks that consume in real
//     time, or the sinks playbin3 picks), which its owner commands with requestState and seekTo.
// Either way, what the pipeline posts and is asked reaches the listeners as facts
// (QMGStreamerPipelineListener), through the process' tracer (QMGStreamerTracer): one code path.
// Made, used and closed on the main run loop's thread.
class VEYRAKIT_EXPORT QMGStreamerPipeline : public std::enable_shared_from_this<QMGStreamerPipeline> {
  public:
    struct Options {
        // Nothing is shown or heard: fake sinks that still consume in real time.
        bool headless = true;
    };

    // Follows the app's pipeline. Throws std::invalid_argument when `element` is not a playbin3
    // or a playbin.
    static std::shared_ptr<QMGStreamerPipeline> attach(GstElement* element);
    // Builds and follows a playbin3 for `uri`; it does nothing until the first requestState().
    // Throws std::runtime_error when GStreamer does not start or playbin3 is missing.
    static std::shared_ptr<QMGStreamerPipeline> build(const std::string& uri, Options options);
    ~QMGStreamerPipeline();
    QMGStreamerPipeline(const QMGStreamerPipeline&) = delete;
    QMGStreamerPipeline& operator=(const QMGStreamerPipeline&) = delete;

    // Listeners hear the facts in the order they were added. A listener must be removed (or the
    // pipeline closed) before it goes away.
    void addListener(QMGStreamerPipelineListener* listener);
    void removeListener(QMGStreamerPipelineListener* listener);

    // Owned pipelines only (nothing otherwise): asks for a state (asking again for the state last
    // asked for does nothing); a flushing seek to the keyframe at or before `seconds`.
    void requestState(GstState state);
    void seekTo(double seconds);

    // Tells the listeners the state the pipeline is in now (and that it has prerolled, when it has),
    // for a listener that starts following a pipeline already under way.
    void announceCurrentState();
    // The URI the pipeline is asked to play (its "uri", else its "current-uri"), while it exists.
    std::optional<std::string> uri() const;
    // Where playback stands, in seconds of media, when the pipeline knows.
    std::optional<double> positionSeconds() const;
    // The media's duration, when the pipeline knows it (not for live streams).
    std::optional<double> durationSeconds() const;
    // How far playback got, in seconds of media: where the last picture shown was, for video
    // (at the end of a stream a position query may answer with the end it announced), else the
    // position.
    std::optional<double> playedToSeconds() const;
    // Stops following: no fact afterwards. An owned pipeline is brought down (joining GStreamer's
    // threads) and released; an attached one is left as it is.
    void close();
    bool isOpen() const { return open_; }
    bool isOwned() const { return owned_ != nullptr; }

    // Public for make_shared only: use attach or build.
    QMGStreamerPipeline(GstElement* element, GstElement* owned);

  private:
    void open();
    // A strong reference for a moment's use on the main loop, or null when the app let it go.
    GstElement* element() const;
    void handleMessage(GstMessage* message, QMGStreamerCause cause);
    void onStateChanged(GstMessage* message);
    void onStreamCollection(GstMessage* message);
    void announceStreamsOfPlaybin2();
    template <typename Call>
    void tell(Call call);

    mutable GWeakRef element_;
    GstElement* owned_ = nullptr;
    std::shared_ptr<QMGStreamerPipelineTap> tap_;
    std::vector<QMGStreamerPipelineListener*> listeners_;
    GstState requested_ = GST_STATE_VOID_PENDING;
    bool open_ = false;
};

}  // namespace veyrakit
