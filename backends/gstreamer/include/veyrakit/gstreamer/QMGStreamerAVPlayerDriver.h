#pragma once
#include <gst/gst.h>

#include <memory>
#include <string>

#include "veyrakit/gstreamer/QMGStreamerDriver.h"
#include "veyrakit/platform/QMExport.h"
#include "veyrakit/platform/avfoundation/AVPlayer.h"

namespace veyrakit {

// Drives an AVPlayer model and its current item from a playbin pipeline, as the platform's player
// would (docs/driver-contract.md):
//   - loading ends (the pipeline has prerolled and is not buffering): player and item status
//     ready, the item's duration (indefinite when the pipeline knows none), presentation size,
//     buffer not empty and likely to keep up;
//   - playback starts (the pipeline first plays): an access-log event for the variant playing,
//     then AVPlayerItemNewAccessLogEntryNotification; each later variant switch of the HLS
//     demuxer opens a new one;
//   - a stall (buffering after the start, other than to refill after a seek): buffer empty, not
//     likely to keep up, AVPlayerItemPlaybackStalledNotification; the rate stays the viewer's;
//     recovery undoes it;
//   - a warning with an HTTP status: an error-log event; an error: an error-log event, then the
//     item fails (error, status failed, AVPlayerItemFailedToPlayToEndTimeNotification once
//     playback had started, rate 0);
//   - end of stream: rate 0, then AVPlayerItemDidPlayToEndTimeNotification.
// On the app's pipeline it also reads the app's wishes: the state it asks for (playing: the rate;
// paused, other than to refill: rate 0; ready or null: rate 0 and the playback is over), and its
// seeks (the item's playhead jumps, AVPlayerItemTimeJumpedNotification) and rates.
// The current access-log event counts the media downloaded while it is current (bytes and
// requests: HLS fragments or the file, not the playlists), kept up to date as facts arrive; the
// first one counts from the start of loading. The item moves its playhead itself while it plays.
class VEYRAKIT_EXPORT QMGStreamerAVPlayerDriver : public QMGStreamerDriver {
  public:
    using Options = QMGStreamerPipeline::Options;

    // Owned mode: builds a playbin3 for the player's current item (an AVURLAsset: a media file or
    // an HLS master playlist) and plays it as the player's rate and the item's seeks ask. Throws
    // std::runtime_error when GStreamer or playbin3 is missing, or when the current item has no
    // URL asset. The pipeline starts loading at once.
    static std::shared_ptr<QMGStreamerAVPlayerDriver> driverWithPlayer(std::shared_ptr<AVPlayer> player,
                                                                       Options options);
    static std::shared_ptr<QMGStreamerAVPlayerDriver> driverWithPlayer(std::shared_ptr<AVPlayer> player);
    // Attached mode: follows the app's pipeline, which plays the player's current item.
    static std::shared_ptr<QMGStreamerAVPlayerDriver> driverFollowing(
        std::shared_ptr<QMGStreamerPipeline> pipeline, std::shared_ptr<AVPlayer> player);
    ~QMGStreamerAVPlayerDriver() override;

    void observeValueForKeyPath(const std::string& keyPath, QMObject* object, const QMKeyValueChange& change,
                                void* context) override;

    // Public for make_shared only: use driverWithPlayer or driverFollowing.
    QMGStreamerAVPlayerDriver(std::shared_ptr<AVPlayer> player, const std::string& url);

  private:
    void modelBecomesReady(const std::optional<double>& duration, const std::optional<CGSize>& size) override;
    void modelStalls() override;
    void modelRecovers() override;
    void ownerPlays(float rate) override;
    void ownerPauses() override;
    void ownerStops() override;
    void ownerSeeks(double position) override;
    bool modelWantsToPlay() const override;
    void modelShowsPictureSize(CGSize size) override;
    void modelLearnsDuration(double seconds) override;
    std::shared_ptr<QMMediaAccessLogEvent> modelOpensAccessLogEvent(bool first) override;
    void modelCountsTransfers(QMMediaAccessLogEvent& event, const QMGStreamerTransfers& figures) override;
    void modelLogsError(long statusCode, const std::string& comment, const std::string& domain) override;
    void modelFails(const std::string& domain, long code, const std::string& description) override;
    void modelEnds() override;
    double modelPlayhead() const override;
    void modelUnobserved() override;
    // Owned mode: the model's rate and the item's seeks command the pipeline.
    void observeModel();
    void onTimeJumped();

    std::shared_ptr<AVPlayer> player_;
    std::shared_ptr<AVPlayerItem> item_;
    bool observing_ = false;
};

}  // namespace veyrakit
