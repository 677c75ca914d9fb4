#pragma once
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "veyrakit/platform/QMError.h"
#include "veyrakit/platform/QMObject.h"
#include "veyrakit/platform/QMRunLoop.h"
#include "veyrakit/platform/QMURL.h"
#include "veyrakit/platform/avfoundation/AVPlayerItem.h"
#include "veyrakit/platform/avfoundation/CMTime.h"

namespace veyrakit {

enum AVPlayerStatus : long {
    AVPlayerStatusUnknown = 0,
    AVPlayerStatusReadyToPlay = 1,
    AVPlayerStatusFailed = 2,
};

// Plays one item at a time, with the platform's observable surface. Key-value observable keys
// and the type under NSKeyValueChangeNewKey: "rate" float, "status" AVPlayerStatus, "error"
// std::shared_ptr<QMError>, "currentItem" std::shared_ptr<AVPlayerItem>. A setter announces its
// key only when the value really changes.
class VEYRAKIT_EXPORT AVPlayer : public QMObject {
  public:
    using TimeObserverBlock = std::function<void(CMTime time)>;

    AVPlayer();
    ~AVPlayer() override;
    static std::shared_ptr<AVPlayer> playerWithPlayerItem(std::shared_ptr<AVPlayerItem> item);
    static std::shared_ptr<AVPlayer> playerWithURL(std::shared_ptr<QMURL> URL);

    float rate() const { return rate_; }
    void setRate(float rate);
    void play() { setRate(1.0f); }
    void pause() { setRate(0.0f); }

    AVPlayerStatus status() const { return status_; }
    void setStatus(AVPlayerStatus status);
    // Set before the status turns to failed, so that an observer of "status" finds it.
    const std::shared_ptr<QMError>& error() const { return error_; }
    void setError(std::shared_ptr<QMError> error);

    const std::shared_ptr<AVPlayerItem>& currentItem() const { return currentItem_; }
    // The item left behind keeps its playhead where it was and no longer moves.
    void replaceCurrentItemWithPlayerItem(std::shared_ptr<AVPlayerItem> item);
    // Seeks the current item (a message to nothing without one).
    void seekToTime(CMTime time);
    // The current item's time, or kCMTimeZero without an item.
    CMTime currentTime() const;

    // Calls `usingBlock` with the current time on `queue` (the main run loop when null) each time
    // the current item's playhead passes a whole multiple of `interval` on the item's timeline
    // (never while it stands still: paused, stalled, loading), and also, posted to the queue,
    // whenever the time jumps (a seek) and whenever the playhead starts or stops moving. Until
    // the returned token is passed to removeTimeObserver. The block and what it captures are held
    // until removal (or until the player goes away). A non-positive or non-numeric interval
    // throws QMInvalidArgumentException.
    std::shared_ptr<QMObject> addPeriodicTimeObserverForInterval(CMTime interval,
                                                                 std::shared_ptr<QMRunLoop> queue,
                                                                 TimeObserverBlock usingBlock);
    // Stops and releases the observer. A token that this player did not hand out throws
    // QMInvalidArgumentException; nothing (nullptr) does nothing.
    void removeTimeObserver(const std::shared_ptr<QMObject>& observer);
    std::size_t timeObserverCount() const { return timeObservers_.size(); }

  private:
    // The current item's playhead moved differently or jumped: observers hear of a jump or of a
    // start or stop, and every observer's next tick is worked out anew.
    void itemTimingChanged(bool jumped);
    void watchTiming(const std::shared_ptr<AVPlayerItem>& item);
    // Microseconds of the clock until the current item's playhead reaches the next whole multiple
    // of `intervalNanos` of media; nothing when it is not moving or will stop first (the end).
    std::optional<int64_t> microsToNextTick(int64_t intervalNanos) const;
    void scheduleTicks();
    void scheduleTick(const std::shared_ptr<QMObject>& observer);

    float rate_ = 0.0f;
    bool playheadMoving_ = false;
    AVPlayerStatus status_ = AVPlayerStatusUnknown;
    std::shared_ptr<QMError> error_;
    std::shared_ptr<AVPlayerItem> currentItem_;
    std::vector<std::shared_ptr<QMObject>> timeObservers_;
};

}  // namespace veyrakit
