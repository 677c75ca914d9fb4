#pragma once
#include <gst/gst.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "veyrakit/gstreamer/QMGStreamerLogEntries.h"
#include "veyrakit/gstreamer/QMGStreamerPipeline.h"
#include "veyrakit/gstreamer/QMGStreamerPipelineListener.h"
#include "veyrakit/platform/QMObject.h"
#include "veyrakit/platform/avfoundation/AVPlayer.h"
#include "veyrakit/platform/avfoundation/CGSize.h"

namespace veyrakit {

class AVPlayerItemAccessLogEvent;

// Plays an AVPlayer model's current item (an AVURLAsset: a media file or an HLS master playlist)
// with a GStreamer playbin3 pipeline, and drives the models as the platform's player would:
//   - follows the app: the player's rate (any rate above zero plays at normal speed, zero
//     pauses) and seeks of the item (AVPlayerItemTimeJumpedNotification);
//   - loading ends (the pipeline has prerolled and is not buffering): player and item status
//     ready, the item's duration (indefinite when the pipeline knows none), presentation size,
//     buffer not empty and likely to keep up;
//   - playback starts (the pipeline first plays): an access-log event for the variant playing,
//     then AVPlayerItemNewAccessLogEntryNotification; each later variant switch of the HLS
//     demuxer opens a new one;
//   - a stall (the demuxer buffers after the start, other than to refill after a seek): buffer empty, not
//   likely to keep up,
//     AVPlayerItemPlaybackStalledNotification; the rate stays the viewer's; recovery undoes it;
//   - a warning with an HTTP status: an error-log event; an error: an error-log event, then the
//     item fails (error, status failed, AVPlayerItemFailedToPlayToEndTimeNotification once
//     playback had started, rate 0);
//   - end of stream: rate 0, then AVPlayerItemDidPlayToEndTimeNotification.
// The current access-log event counts the media downloaded while it is current (bytes and
// requests, as the bridge counts them: HLS fragments or the file, not the playlists), kept up to
// date as bus messages arrive; the first one counts from the start of loading.
// The item moves its playhead itself while it plays; the driver does not set it.
// GStreamer's threads reach the models only through the main run loop (QMGStreamerPipeline).
// Made, used and dropped on the main run loop's thread.
class QMGStreamerAVPlayerDriver : public QMObject, private QMGStreamerPipelineListener {
  public:
    using Options = QMGStreamerPipeline::Options;

    // Throws std::runtime_error when GStreamer or playbin3 is missing, or when the player's
    // current item has no URL asset. The pipeline starts loading at once.
    static std::shared_ptr<QMGStreamerAVPlayerDriver> driverWithPlayer(std::shared_ptr<AVPlayer> player,
                                                                       Options options);
    static std::shared_ptr<QMGStreamerAVPlayerDriver> driverWithPlayer(std::shared_ptr<AVPlayer> player);
    ~QMGStreamerAVPlayerDriver() override;

    // Tears the pipeline down and stops following the models (the models keep their values).
    void stop();
    // Playback ended, failed, or was stopped.
    bool isOver() const { return over_; }

    void observeValueForKeyPath(const std::string& keyPath, QMObject* object, const QMKeyValueChange& change,
                                void* context) override;

    // Public for make_shared only: a driver made directly never starts; use driverWithPlayer.
    QMGStreamerAVPlayerDriver(std::shared_ptr<AVPlayer> player, Options options);

  private:
    void start();
    void pipelinePrerolled() override;
    void pipelineBuffering(int percent) override;
    void pipelineStateReached(GstState state) override;
    void pipelineVariantAnnounced(const std::string& uri, double bitrate, double measuredBitrate) override;
    void pipelineVideoSize(int width, int height) override;
    void pipelineHTTPWarning(const QMGStreamerProblem& problem) override;
    void pipelineError(const QMGStreamerProblem& problem) override;
    void pipelineEndOfStream() override;
    void pipelineDownloaded(int64_t bytes, int64_t mediaRequests) override;
    void onTimeJumped();

    void becomeReadyIfLoaded();
    void endSeekIfRefilled();
    void beginStall();
    void endStall();
    void openAccessLogEvent();
    void closeAccessLogEvent();
    // The current access-log event's bytes and media requests, from the bridge's counters.
    void refreshTransfers();
    void logError(long statusCode, const std::string& comment);
    // The pipeline state the models ask for now.
    void applyState();
    void finish();

    std::shared_ptr<AVPlayer> player_;
    std::shared_ptr<AVPlayerItem> item_;
    std::string url_;
    Options options_;
    std::shared_ptr<QMGStreamerPipeline> pipeline_;
    QMGStreamerLogEntries log_;
    bool observing_ = false;

    bool prerolled_ = false;
    bool buffering_ = false;
    bool ready_ = false;
    bool started_ = false;
    // From the app's seek until the pipeline has prerolled at the new position and refilled.
    bool seeking_ = false;
    bool seekPrerolled_ = false;
    bool over_ = false;
    int64_t startMicros_ = 0;
    int64_t readyMicros_ = 0;

    std::optional<CGSize> videoSize_;
    std::shared_ptr<AVPlayerItemAccessLogEvent> currentEvent_;
};

}  // namespace veyrakit
