#pragma once
#include <gst/gst.h>

#include <memory>
#include <optional>
#include <string>

#include "veyrakit/gstreamer/QMGStreamerDriver.h"
#include "veyrakit/platform/QMExport.h"
#include "veyrakit/platform/mediaplayer/MPMoviePlayerController.h"

namespace veyrakit {

// Drives an MPMoviePlayerController model from a playbin pipeline, as the platform's movie player
// would (docs/driver-contract.md):
//   - asked to play before the content is loaded, the load state turns stalled;
//   - loading ends (prerolled, not buffering): source type, media types, duration (none for
//     live), natural size, load state playable, ready for display;
//   - playback starts (the pipeline first plays): an access-log event for the variant playing;
//     each later variant switch of the HLS demuxer opens a new one; whenever the pipeline plays
//     with its buffer full, the load state is playable and playthrough OK;
//   - a stall (buffering after the start, other than to refill after a seek): load state stalled,
//     counted in the access log; recovery: playable;
//   - a seek once ready: playback state seeking forward or backward until the pipeline has
//     prerolled and refilled at the new position, then back;
//   - a warning with an HTTP status: an error-log event; an error: an error-log event, then
//     MPMoviePlayerPlaybackDidFinishNotification with reason 1 and the error, playback state
//     stopped;
//   - end of stream: MPMoviePlayerPlaybackDidFinishNotification with reason 0, playback state
//     stopped; the viewer leaving (the app's stop): reason 2.
// The owner's play, pause, rate, seek and stop are the app's calls on the model (owned mode) or
// what the app asks of its pipeline (attached mode). The driver answers the app's play, pause and
// stop once the app's change has reached every observer. The model moves its playhead itself
// while it plays.
class VEYRAKIT_EXPORT QMGStreamerMPMoviePlayerDriver : public QMGStreamerDriver {
  public:
    using Options = QMGStreamerPipeline::Options;

    // Owned mode: builds a playbin3 for the player's contentURL (a media file or an HLS master
    // playlist) and plays it as the app's calls on the player ask. Throws std::runtime_error when
    // GStreamer or playbin3 is missing, or when the player has no content URL. The pipeline
    // starts loading at once.
    static std::shared_ptr<QMGStreamerMPMoviePlayerDriver> driverWithPlayer(
        std::shared_ptr<MPMoviePlayerController> player, Options options);
    static std::shared_ptr<QMGStreamerMPMoviePlayerDriver> driverWithPlayer(
        std::shared_ptr<MPMoviePlayerController> player);
    // Attached mode: follows the app's pipeline, which plays the player's contentURL.
    static std::shared_ptr<QMGStreamerMPMoviePlayerDriver> driverFollowing(
        std::shared_ptr<QMGStreamerPipeline> pipeline, std::shared_ptr<MPMoviePlayerController> player);
    ~QMGStreamerMPMoviePlayerDriver() override;

    void observeValueForKeyPath(const std::string& keyPath, QMObject* object, const QMKeyValueChange& change,
                                void* context) override;

    // Public for make_shared only: use driverWithPlayer or driverFollowing.
    QMGStreamerMPMoviePlayerDriver(std::shared_ptr<MPMoviePlayerController> player, const std::string& url);

  private:
    void modelBecomesReady(const std::optional<double>& duration, const std::optional<CGSize>& size) override;
    void modelStalls() override;
    void modelRecovers() override;
    void modelReachesPlaying() override;
    void ownerPlays(float rate) override;
    void ownerPauses() override;
    void ownerStops() override;
    void ownerSeeks(double position) override;
    void modelSeekEnds() override;
    bool modelWantsToPlay() const override;
    void modelShowsPictureSize(CGSize size) override;
    void modelLearnsDuration(double seconds) override;
    void modelHasStreams(bool video, bool audio) override;
    std::shared_ptr<QMMediaAccessLogEvent> modelOpensAccessLogEvent(bool first) override;
    void modelLogsError(long statusCode, const std::string& comment, const std::string& domain) override;
    void modelFails(const std::string& domain, long code, const std::string& description) override;
    void modelEnds() override;
    double modelPlayhead() const override;
    void modelUnobserved() override;

    // Owned mode: the app's calls on the model command the pipeline.
    void observeModel();
    void onPlaybackStateChanged();
    void waitForContentIfPlaying();
    // The playhead jumped from `from` to `to` seconds: seeking forward or backward until the
    // pipeline has refilled there.
    void onPlaybackTimeJumped(double from, double to);
    // The model's playback state as the driver itself sets it (not an app's change to follow).
    void setPlaybackState(MPMoviePlaybackState state);
    // Ends playback: the finish notification, then the stopped state; nothing follows.
    void finishPlayback(MPMovieFinishReason reason, const std::shared_ptr<QMError>& error);

    std::shared_ptr<MPMoviePlayerController> player_;
    bool observing_ = false;
    // Set while the driver changes the model itself, so that its own change is not taken for the
    // app's.
    bool settingState_ = false;
    // While a seek runs: the playback state to return to once the pipeline has prerolled.
    std::optional<MPMoviePlaybackState> stateAfterSeek_;
    unsigned long mediaTypes_ = MPMovieMediaTypeMaskNone;
    // Owned mode: where the app asked playback to start before loading ended.
    std::optional<double> startPosition_;
};

}  // namespace veyrakit
