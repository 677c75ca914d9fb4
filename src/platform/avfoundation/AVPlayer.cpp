#include "platform/avfoundation/AVPlayer.h"

#include <algorithm>
#include <cmath>

#include "platform/QMException.h"
#include "platform/QMTimer.h"
#include "platform/avfoundation/QMObservedValue.h"

namespace {

// The token handed out for a periodic time observer: it owns the repeating timer.
class AVPlayerPeriodicTimeObserver : public QMObject {
  public:
    explicit AVPlayerPeriodicTimeObserver(std::shared_ptr<QMTimer> timer) : timer_(std::move(timer)) {}
    ~AVPlayerPeriodicTimeObserver() override { timer_->invalidate(); }
    void invalidate() { timer_->invalidate(); }

  private:
    std::shared_ptr<QMTimer> timer_;
};

}  // namespace

AVPlayer::AVPlayer() = default;

AVPlayer::~AVPlayer() {
    for (const auto& observer : timeObservers_) {
        static_cast<AVPlayerPeriodicTimeObserver&>(*observer).invalidate();
    }
}

std::shared_ptr<AVPlayer> AVPlayer::playerWithPlayerItem(std::shared_ptr<AVPlayerItem> item) {
    auto player = std::make_shared<AVPlayer>();
    player->currentItem_ = std::move(item);
    return player;
}

std::shared_ptr<AVPlayer> AVPlayer::playerWithURL(std::shared_ptr<QMURL> URL) {
    return playerWithPlayerItem(AVPlayerItem::playerItemWithURL(std::move(URL)));
}

void AVPlayer::setRate(float rate) {
    QMSetObservedValue(*this, "rate", rate_, rate, std::equal_to<float>{}, [&] {
        if (currentItem_) {
            currentItem_->setPlayerRate(rate);
        }
    });
}

void AVPlayer::setStatus(AVPlayerStatus status) { QMSetObservedValue(*this, "status", status_, status); }

void AVPlayer::setError(std::shared_ptr<QMError> error) {
    QMSetObservedValue(*this, "error", error_, std::move(error));
}

void AVPlayer::replaceCurrentItemWithPlayerItem(std::shared_ptr<AVPlayerItem> item) {
    // The item left behind stops moving; the new one moves at the player's rate.
    QMSetObservedValue(*this, "currentItem", currentItem_, item,
                       std::equal_to<std::shared_ptr<AVPlayerItem>>{}, [&] {
                           if (currentItem_) {
                               currentItem_->setPlayerRate(0.0f);
                           }
                           if (item) {
                               item->setPlayerRate(rate_);
                           }
                       });
}

void AVPlayer::seekToTime(CMTime time) {
    if (currentItem_) {
        currentItem_->seekToTime(time);
    }
}

CMTime AVPlayer::currentTime() const { return currentItem_ ? currentItem_->currentTime() : kCMTimeZero; }

std::shared_ptr<QMObject> AVPlayer::addPeriodicTimeObserverForInterval(CMTime interval,
                                                                       std::shared_ptr<QMRunLoop> queue,
                                                                       TimeObserverBlock usingBlock) {
    const double seconds = CMTimeGetSeconds(interval);
    if (!CMTIME_IS_NUMERIC(interval) || !(seconds > 0.0)) {
        throw QMInvalidArgumentException("AVPlayer periodic time observer needs a positive numeric interval");
    }
    if (!queue) {
        queue = QMRunLoop::mainRunLoop();
    }
    // The timer must not keep the player alive: it reads the player only while it exists.
    std::weak_ptr<AVPlayer> weakPlayer = selfAs<AVPlayer>();
    auto timer = QMTimer::scheduledTimerWithTimeInterval(
        seconds,
        [weakPlayer, block = std::move(usingBlock)](QMTimer&) {
            if (auto player = weakPlayer.lock()) {
                block(player->currentTime());
            }
        },
        true, queue);
    auto token = std::make_shared<AVPlayerPeriodicTimeObserver>(std::move(timer));
    timeObservers_.push_back(token);
    return token;
}

void AVPlayer::removeTimeObserver(const std::shared_ptr<QMObject>& observer) {
    if (!observer) {
        return;
    }
    auto found = std::find(timeObservers_.begin(), timeObservers_.end(), observer);
    if (found == timeObservers_.end()) {
        throw QMInvalidArgumentException(
            "An instance of AVPlayer cannot remove a time observer that was added by a different instance of "
            "AVPlayer.");
    }
    static_cast<AVPlayerPeriodicTimeObserver&>(**found).invalidate();
    timeObservers_.erase(found);
}
