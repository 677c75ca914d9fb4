#pragma once
#include <gst/gst.h>

#include <memory>
#include <optional>
#include <string>

#include "veyrakit/gstreamer/QMGStreamerLogEntries.h"
#include "veyrakit/gstreamer/QMGStreamerPipeline.h"
#include "veyrakit/gstreamer/QMGStreamerPipelineListener.h"
#include "veyrakit/platform/QMObject.h"
#include "veyrakit/platform/avfoundation/CGSize.h"
#include "veyrakit/platform/mediaplayer/MPMoviePlayerController.h"

namespace veyrakit {

// Plays an MPMoviePlayerController model's contentURL (a media file or an HLS master playlist)
// with a GStreamer playbin3 pipeline, and drives the model as the platform's movie player would:
//   - follows the app: play, pause and currentPlaybackRate (any rate above zero plays at normal
//     speed, zero holds the pipeline), a jump of currentPlaybackTime (playback state seeking
//     forward or backward until the pipeline has prerolled and refilled at the new position,
//     then back), and stop (the viewer left: MPMoviePlayerPlaybackDidFinishNotification with
//     reason 2);
//   - asked to play before the content is loaded, the load state turns stalled;
//   - loading ends (prerolled, not buffering): source type, media types, duration (none for
//     live), natural size, load state playable, ready for display;
//   - playback starts (the pipeline first plays): an access-log event for the variant playing;
//     each later variant switch of the HLS demuxer opens a new one; whenever the pipeline plays
//     with its buffer full, the load state is playable and playthrough OK;
//   - a stall (the pipeline buffers after the start, other than to refill after a seek): load
//     state stalled, counted in the access log; recovery: playable;
//   - a warning with an HTTP status: an error-log event; an error: an error-log event, then
//     MPMoviePlayerPlaybackDidFinishNotification with reason 1 and the error, playback state
//     stopped;
//   - end of stream: MPMoviePlayerPlaybackDidFinishNotification with reason 0, playback state
//     stopped.
// The driver answers the app's play, pause and stop in a task of its own, once the app's change
// has reached every observer. The model moves its playhead itself while it plays; the driver
// does not set it. GStreamer's threads reach the model only through the main run loop
// (QMGStreamerPipeline). Made, used and dropped on the main run loop's thread.
class QMGStreamerMoviePlayerDriver : public QMObject, private QMGStreamerPipelineListener {
  public:
    using Options = QMGStreamerPipeline::Options;

    // Throws std::runtime_error when GStreamer or playbin3 is missing, or when the player has no
    // content URL. The pipeline starts loading at once.
    static std::shared_ptr<QMGStreamerMoviePlayerDriver> driverWithPlayer(
        std::shared_ptr<MPMoviePlayerController> player, Options options);
    static std::shared_ptr<QMGStreamerMoviePlayerDriver> driverWithPlayer(
        std::shared_ptr<MPMoviePlayerController> player);
    ~QMGStreamerMoviePlayerDriver() override;

    // Tears the pipeline down and stops following the model (the model keeps its values).
    void stop();
    // Playback ended, failed, or was stopped.
    bool isOver() const { return over_; }

    void observeValueForKeyPath(const std::string& keyPath, QMObject* object, const QMKeyValueChange& change,
                                void* context) override;

    // Public for make_shared only: a driver made directly never starts; use driverWithPlayer.
    QMGStreamerMoviePlayerDriver(std::shared_ptr<MPMoviePlayerController> player, Options options);

  private:
    void start();
    void pipelinePrerolled() override;
    void pipelineBuffering(int percent) override;
    void pipelineStateReached(GstState state) override;
    void pipelineStreamsAnnounced(bool video, bool audio) override;
    void pipelineVariantAnnounced(const std::string& uri, double bitrate, double measuredBitrate) override;
    void pipelineVideoSize(int width, int height) override;
    void pipelineHTTPWarning(const QMGStreamerProblem& problem) override;
    void pipelineError(const QMGStreamerProblem& problem) override;
    void pipelineEndOfStream() override;
    void pipelineDownloaded(int64_t bytes, int64_t mediaRequests) override;

    void onPlaybackStateChanged();
    void waitForContentIfPlaying();
    void onPlaybackTimeJumped(double from, double to);
    void becomeReadyIfLoaded();
    void beginStall();
    // Ends a seek once prerolled and refilled: the playback state goes back to what it was.
    void endSeekIfRefilled();
    // The model's playback state as the driver itself sets it (not an app's change to follow).
    void setPlaybackState(MPMoviePlaybackState state);
    void openAccessLogEvent();
    void closeAccessLogEvent();
    void logError(long statusCode, const std::string& comment);
    // Ends playback: the finish notification, then the stopped state; nothing follows.
    void finishPlayback(MPMovieFinishReason reason, const std::shared_ptr<QMError>& error);
    // What the app asked for: playing (or seeking from playing) at a rate above zero.
    bool wantsToPlay() const;
    // The pipeline state the model asks for now.
    void applyState();
    void finish();

    std::shared_ptr<MPMoviePlayerController> player_;
    std::string url_;
    Options options_;
    std::shared_ptr<QMGStreamerPipeline> pipeline_;
    QMGStreamerLogEntries log_;
    bool observing_ = false;
    // Set while the driver changes the playback state itself, so that its own change is not
    // taken for the app's.
    bool settingState_ = false;

    bool prerolled_ = false;
    bool buffering_ = false;
    bool ready_ = false;
    bool started_ = false;
    // From the app's jump until the pipeline has prerolled at the new position and refilled.
    bool seeking_ = false;
    bool seekPrerolled_ = false;
    bool over_ = false;
    // While a seek runs: the playback state to return to once the pipeline has prerolled.
    std::optional<MPMoviePlaybackState> stateAfterSeek_;
    unsigned long mediaTypes_ = MPMovieMediaTypeMaskNone;
    std::optional<CGSize> videoSize_;
    std::shared_ptr<MPMovieAccessLogEvent> currentEvent_;
};

}  // namespace veyrakit
