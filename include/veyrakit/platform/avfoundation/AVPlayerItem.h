#pragma once
#include <cstdint>
#include <functional>
#include <memory>

#include "veyrakit/platform/QMError.h"
#include "veyrakit/platform/QMObject.h"
#include "veyrakit/platform/QMURL.h"
#include "veyrakit/platform/avfoundation/AVAsset.h"
#include "veyrakit/platform/avfoundation/AVPlayerItemAccessLog.h"
#include "veyrakit/platform/avfoundation/AVPlayerItemErrorLog.h"
#include "veyrakit/platform/avfoundation/CGSize.h"
#include "veyrakit/platform/avfoundation/CMTime.h"

namespace veyrakit {

class AVPlayer;

enum AVPlayerItemStatus : long {
    AVPlayerItemStatusUnknown = 0,
    AVPlayerItemStatusReadyToPlay = 1,
    AVPlayerItemStatusFailed = 2,
};

// The presentation state of one asset, with the platform's observable surface. Key-value
// observable keys, and the type of the value under NSKeyValueChangeNewKey:
//   "status" AVPlayerItemStatus, "error" std::shared_ptr<QMError>, "duration" CMTime,
//   "presentationSize" CGSize, "playbackBufferEmpty", "playbackLikelyToKeepUp",
//   "playbackBufferFull" bool.
// A setter announces its key only when the value really changes (will/did around the
// assignment, synchronously). Notifications (AVPlayerItemNotifications.h) are posted through
// the default centre with the item as sender.
//
// The playhead moves by itself on the main run loop's clock: while the item is ready to play,
// its buffer is not empty and its player's rate is not zero, currentTime advances by rate times
// the elapsed time, held between zero and a numeric duration.
class VEYRAKIT_EXPORT AVPlayerItem : public QMObject {
  public:
    explicit AVPlayerItem(std::shared_ptr<AVAsset> asset);
    ~AVPlayerItem() override;
    static std::shared_ptr<AVPlayerItem> playerItemWithURL(std::shared_ptr<QMURL> URL);
    static std::shared_ptr<AVPlayerItem> playerItemWithAsset(std::shared_ptr<AVAsset> asset);

    const std::shared_ptr<AVAsset>& asset() const { return asset_; }

    AVPlayerItemStatus status() const { return status_; }
    void setStatus(AVPlayerItemStatus status);
    // Set before the status turns to failed, so that an observer of "status" finds it.
    const std::shared_ptr<QMError>& error() const { return error_; }
    void setError(std::shared_ptr<QMError> error);

    // kCMTimeIndefinite until the asset's duration has loaded, and for a live stream after.
    CMTime duration() const { return duration_; }
    // The first call announces "duration" even when the value stays indefinite: the platform
    // reports the loaded duration once, live streams included.
    void setDuration(CMTime duration);

    CMTime currentTime() const;
    // Whether currentTime is moving now (ready, buffer not empty, player rate not zero); the
    // model's own helper for whoever drives it.
    bool isPlayheadMoving() const;
    // Moves the playhead and posts AVPlayerItemTimeJumpedNotification.
    void seekToTime(CMTime time);

    CGSize presentationSize() const { return presentationSize_; }
    void setPresentationSize(CGSize presentationSize);

    bool playbackBufferEmpty() const { return playbackBufferEmpty_; }
    bool isPlaybackBufferEmpty() const { return playbackBufferEmpty_; }
    void setPlaybackBufferEmpty(bool playbackBufferEmpty);
    bool playbackLikelyToKeepUp() const { return playbackLikelyToKeepUp_; }
    bool isPlaybackLikelyToKeepUp() const { return playbackLikelyToKeepUp_; }
    void setPlaybackLikelyToKeepUp(bool playbackLikelyToKeepUp);
    bool playbackBufferFull() const { return playbackBufferFull_; }
    bool isPlaybackBufferFull() const { return playbackBufferFull_; }
    void setPlaybackBufferFull(bool playbackBufferFull);

    // Nothing until the first event has been added, as on the platform.
    std::shared_ptr<AVPlayerItemAccessLog> accessLog() const;
    std::shared_ptr<AVPlayerItemErrorLog> errorLog() const;
    // Append an event, then post AVPlayerItemNewAccessLogEntryNotification /
    // AVPlayerItemNewErrorLogEntryNotification.
    void addAccessLogEvent(std::shared_ptr<AVPlayerItemAccessLogEvent> event);
    void addErrorLogEvent(std::shared_ptr<AVPlayerItemErrorLogEvent> event);

    // Posts AVPlayerItemDidPlayToEndTimeNotification, AVPlayerItemPlaybackStalledNotification,
    // or AVPlayerItemFailedToPlayToEndTimeNotification with the error under
    // AVPlayerItemFailedToPlayToEndTimeErrorKey (left out when there is no error).
    void postDidPlayToEndTime();
    void postPlaybackStalled();
    void postFailedToPlayToEndTime(const std::shared_ptr<QMError>& error);

  private:
    friend class AVPlayer;
    // The player's rate, told by the player while the item is its current item.
    void setPlayerRate(float rate);
    // Told by the player whose current item this is: called after every change to how the
    // playhead moves (speed, start, stop) and after every jump (`jumped`), so that the player's
    // periodic time observers follow the item's timeline.
    void setTimingObserver(std::function<void(bool jumped)> timingObserver) {
        timingObserver_ = std::move(timingObserver);
    }
    void timingChanged(bool jumped);
    int64_t positionNanosAt(int64_t nowMicros) const;
    // Fixes the playhead at the present moment before anything that changes its speed.
    void reanchor();
    void post(const char* name);

    std::shared_ptr<AVAsset> asset_;
    AVPlayerItemStatus status_ = AVPlayerItemStatusUnknown;
    std::shared_ptr<QMError> error_;
    CMTime duration_ = kCMTimeIndefinite;
    bool durationLoaded_ = false;
    CGSize presentationSize_ = CGSizeZero;
    bool playbackBufferEmpty_ = true;
    bool playbackLikelyToKeepUp_ = false;
    bool playbackBufferFull_ = false;
    std::shared_ptr<AVPlayerItemAccessLog> accessLog_;
    std::shared_ptr<AVPlayerItemErrorLog> errorLog_;
    float playerRate_ = 0.0f;
    std::function<void(bool jumped)> timingObserver_;
    int64_t anchorNanos_ = 0;
    int64_t anchorMicros_ = 0;
};

}  // namespace veyrakit
