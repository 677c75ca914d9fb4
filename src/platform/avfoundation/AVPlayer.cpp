#include "veyrakit/platform/avfoundation/AVPlayer.h"

#include <algorithm>
#include <cmath>

#include "platform/QMClock.h"
#include "platform/QMException.h"
#include "veyrakit/platform/QMTimer.h"
#include "veyrakit/platform/avfoundation/QMObservedValue.h"

namespace veyrakit {

namespace {

__extension__ typedef __int128 QMWideNanos;

constexpr int64_t kNanosPerSecond = 1'000'000'000;

// The token handed out for a periodic time observer: it owns the block and the one-shot timer of
// its next tick. Calls posted for jumps, starts and stops reach the block only while the token
// is still registered.
class AVPlayerPeriodicTimeObserver : public QMObject {
  public:
    using Block = std::function<void(CMTime)>;
    AVPlayerPeriodicTimeObserver(int64_t intervalNanos, std::shared_ptr<QMRunLoop> queue, Block block)
        : intervalNanos_(intervalNanos), queue_(std::move(queue)), block_(std::move(block)) {}
    ~AVPlayerPeriodicTimeObserver() override { invalidate(); }

    int64_t intervalNanos() const { return intervalNanos_; }

    // Releases the block and what it captures.
    void invalidate() {
        valid_ = false;
        cancelTick();
        Block released = std::move(block_);
        block_ = nullptr;
    }

    // Posts one call with the player's time as it is when the call runs.
    void postCall(const std::weak_ptr<AVPlayer>& player) {
        std::weak_ptr<AVPlayerPeriodicTimeObserver> weakSelf = selfAs<AVPlayerPeriodicTimeObserver>();
        queue_->post([weakSelf, player] {
            if (auto self = weakSelf.lock()) {
                self->call(player);
            }
        });
    }

    void scheduleTick(const std::weak_ptr<AVPlayer>& player, std::optional<int64_t> delayMicros,
                      std::function<void()> afterTick) {
        cancelTick();
        if (!valid_ || !delayMicros) {
            return;
        }
        std::weak_ptr<AVPlayerPeriodicTimeObserver> weakSelf = selfAs<AVPlayerPeriodicTimeObserver>();
        tick_ = QMTimer::scheduledTimerWithTimeInterval(
            static_cast<double>(*delayMicros) / 1e6,
            [weakSelf, player, afterTick = std::move(afterTick)](QMTimer&) {
                if (auto self = weakSelf.lock()) {
                    self->tick_.reset();
                    self->call(player);
                    afterTick();
                }
            },
            false, queue_);
    }

  private:
    void call(const std::weak_ptr<AVPlayer>& weakPlayer) {
        if (auto player = weakPlayer.lock(); player && valid_) {
            // A copy runs: the block may remove its own observer, which releases the original.
            const Block block = block_;
            block(player->currentTime());
        }
    }
    void cancelTick() {
        if (tick_) {
            tick_->invalidate();
            tick_.reset();
        }
    }

    int64_t intervalNanos_;
    std::shared_ptr<QMRunLoop> queue_;
    Block block_;
    std::shared_ptr<QMTimer> tick_;
    bool valid_ = true;
};

AVPlayerPeriodicTimeObserver& periodic(const std::shared_ptr<QMObject>& token) {
    return static_cast<AVPlayerPeriodicTimeObserver&>(*token);
}

// Integer division rounding towards minus infinity.
int64_t floorDiv(int64_t a, int64_t b) { return a / b - ((a % b != 0) && ((a < 0) != (b < 0)) ? 1 : 0); }

}  // namespace

AVPlayer::AVPlayer() = default;

AVPlayer::~AVPlayer() {
    for (const auto& observer : timeObservers_) {
        periodic(observer).invalidate();
    }
    if (currentItem_) {
        currentItem_->setTimingObserver(nullptr);
    }
}

std::shared_ptr<AVPlayer> AVPlayer::playerWithPlayerItem(std::shared_ptr<AVPlayerItem> item) {
    auto player = std::make_shared<AVPlayer>();
    player->currentItem_ = std::move(item);
    player->watchTiming(player->currentItem_);
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
    const bool replaced = QMSetObservedValue(*this, "currentItem", currentItem_, item,
                                             std::equal_to<std::shared_ptr<AVPlayerItem>>{}, [&] {
                                                 if (currentItem_) {
                                                     currentItem_->setTimingObserver(nullptr);
                                                     currentItem_->setPlayerRate(0.0f);
                                                 }
                                                 if (item) {
                                                     watchTiming(item);
                                                     item->setPlayerRate(rate_);
                                                 }
                                             });
    if (replaced) {
        // The new item's time is a jump from the old one's.
        itemTimingChanged(true);
    }
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
    auto token = std::make_shared<AVPlayerPeriodicTimeObserver>(
        static_cast<int64_t>(std::llround(seconds * static_cast<double>(kNanosPerSecond))), std::move(queue),
        std::move(usingBlock));
    timeObservers_.push_back(token);
    scheduleTick(token);
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
    periodic(*found).invalidate();
    timeObservers_.erase(found);
}

void AVPlayer::watchTiming(const std::shared_ptr<AVPlayerItem>& item) {
    // The item must not keep its player alive.
    std::weak_ptr<AVPlayer> weakPlayer = selfAs<AVPlayer>();
    item->setTimingObserver([weakPlayer](bool jumped) {
        if (auto player = weakPlayer.lock()) {
            player->itemTimingChanged(jumped);
        }
    });
}

void AVPlayer::itemTimingChanged(bool jumped) {
    const bool moving = currentItem_ && currentItem_->isPlayheadMoving();
    const bool startedOrStopped = moving != playheadMoving_;
    playheadMoving_ = moving;
    if (jumped || startedOrStopped) {
        std::weak_ptr<AVPlayer> weakPlayer = selfAs<AVPlayer>();
        for (const auto& observer : timeObservers_) {
            periodic(observer).postCall(weakPlayer);
        }
    }
    scheduleTicks();
}

void AVPlayer::scheduleTicks() {
    for (const auto& observer : timeObservers_) {
        scheduleTick(observer);
    }
}

void AVPlayer::scheduleTick(const std::shared_ptr<QMObject>& observer) {
    std::weak_ptr<AVPlayer> weakPlayer = selfAs<AVPlayer>();
    std::weak_ptr<QMObject> weakToken = observer;
    auto& periodicObserver = periodic(observer);
    periodicObserver.scheduleTick(weakPlayer, microsToNextTick(periodicObserver.intervalNanos()),
                                  [weakPlayer, weakToken] {
                                      auto player = weakPlayer.lock();
                                      auto token = weakToken.lock();
                                      if (player && token) {
                                          player->scheduleTick(token);
                                      }
                                  });
}

std::optional<int64_t> AVPlayer::microsToNextTick(int64_t intervalNanos) const {
    if (!currentItem_ || !currentItem_->isPlayheadMoving() || intervalNanos <= 0) {
        return std::nullopt;
    }
    const double rate = currentItem_->playerRate_;
    const int64_t position = currentItem_->positionNanosAt(QMClock::currentTimeMicros());
    // A tick due within a microsecond of playback counts as reached, so that the rounding of the
    // clock never repeats one.
    const auto tolerance = static_cast<int64_t>(std::ceil(1000.0 * std::fabs(rate))) + 1;
    int64_t target = 0;
    if (rate > 0.0) {
        target = (floorDiv(position + tolerance, intervalNanos) + 1) * intervalNanos;
        const CMTime duration = currentItem_->duration();
        if (CMTIME_IS_NUMERIC(duration) && duration.timescale > 0 &&
            target > static_cast<int64_t>(static_cast<QMWideNanos>(duration.value) * kNanosPerSecond /
                                          duration.timescale)) {
            return std::nullopt;
        }
    } else {
        target = -floorDiv(-(position - tolerance), intervalNanos) * intervalNanos - intervalNanos;
        if (target < 0) {
            return std::nullopt;
        }
    }
    const double nanosOfClock = static_cast<double>(std::llabs(target - position)) / std::fabs(rate);
    return static_cast<int64_t>(std::ceil(nanosOfClock / 1000.0));
}

}  // namespace veyrakit
