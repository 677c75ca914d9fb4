#pragma once
#include <gst/gst.h>

#include <functional>
#include <memory>
#include <string>

#include "veyrakit/QMSessionDescription.h"
#include "veyrakit/gstreamer/QMGStreamerPipelineListener.h"
#include "veyrakit/platform/QMExport.h"

namespace veyrakit {

class QMGStreamerDriver;
class QMGStreamerPipeline;

// Monitors the app's own playbin3 or playbin: one monitoring session per item the pipeline plays,
// with the player model of the app's choice standing in for the pipeline. Attach on the thread
// that runs the SDK's main run loop (with QMGLibRunLoopSource: the thread of the app's GLib main
// loop):
//
//   auto source = veyrakit::QMGLibRunLoopSource::attach();
//   auto monitor = veyrakit::QMGStreamerMonitor::attach(
//       playbin, {.defaults = {.serverHost = "https://collector.example", .qmrCID = "customer-7"}});
//
// The monitor never changes the pipeline (its state, sinks, URI or properties), never touches its
// bus, and holds no reference to it. A session starts when the pipeline is asked to pause or play
// an item, and ends with its final report when the app takes the pipeline to ready or null (a new
// URI goes through ready: one session per item), when the app lets the pipeline go, or on
// detach(). The end of the media and a failure end it as the player model does.
class VEYRAKIT_EXPORT QMGStreamerMonitor : public std::enable_shared_from_this<QMGStreamerMonitor>,
                                           private QMGStreamerPipelineListener {
  public:
    enum class PlayerKind { AVPlayer, MPMoviePlayerController };

    struct Options {
        PlayerKind player = PlayerKind::AVPlayer;
        // What the app says of each item, given its URI. Fields it leaves absent are filled from
        // `defaults`, then derived from the URI (asset id: the URI; asset name: its last path
        // segment that is not a generic playlist name; asset type "VOD").
        std::function<QMSessionDescription(const std::string& uri)> describe{};
        // serverHost: the analytics server's base URL (absent: the built-in default).
        QMSessionDescription defaults{};
    };

    // Throws std::invalid_argument when `playbin` is not a playbin3 or a playbin.
    static std::shared_ptr<QMGStreamerMonitor> attach(GstElement* playbin, Options options);
    ~QMGStreamerMonitor() override;
    QMGStreamerMonitor(const QMGStreamerMonitor&) = delete;
    QMGStreamerMonitor& operator=(const QMGStreamerMonitor&) = delete;

    // Ends the session in progress (its final report) and stops following the pipeline.
    void detach();
    bool isAttached() const;
    // Whether a session is in progress, and how many have started.
    bool isMonitoring() const;
    unsigned sessionCount() const { return sessions_; }

    // The description a session of `uri` gets: `described` completed from `defaults` and the URI.
    static QMSessionDescription completed(QMSessionDescription described,
                                          const QMSessionDescription& defaults, const std::string& uri);

    // Public for make_shared only: use attach().
    explicit QMGStreamerMonitor(Options options);

  private:
    void pipelineStateChanged(GstState current, GstState target) override;
    void pipelineEndOfStream() override;
    void pipelineError(const QMGStreamerProblem& problem) override;
    void pipelineGone() override;

    void startSession();
    void endSession();

    Options options_;
    std::shared_ptr<QMGStreamerPipeline> pipeline_;
    std::shared_ptr<QMGStreamerDriver> driver_;
    // The media itself ended the session (its end or a failure): the model already told the plugin.
    bool endedByMedia_ = false;
    unsigned sessions_ = 0;
};

}  // namespace veyrakit
