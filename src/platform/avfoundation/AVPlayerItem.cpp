#include "veyrakit/platform/avfoundation/AVPlayerItem.h"

#include <algorithm>
#include <cmath>

#include "platform/QMClock.h"
#include "platform/QMException.h"
#include "platform/QMPlayheadPosition.h"
#include "veyrakit/platform/QMNotificationCenter.h"
#include "veyrakit/platform/avfoundation/AVPlayerItemNotifications.h"
#include "veyrakit/platform/avfoundation/AVURLAsset.h"
#include "veyrakit/platform/avfoundation/QMObservedValue.h"

namespace veyrakit {

namespace {

__extension__ typedef __int128 QMWideNanos;

constexpr int64_t nanosPerSecond = 1'000'000'000;

// The playhead is kept in whole nanoseconds, so that whole and half seconds stay exact.
int64_t nanosOf(const CMTime& time) {
    return static_cast<int64_t>(static_cast<QMWideNanos>(time.value) * nanosPerSecond / time.timescale);
}

}  // namespace

AVPlayerItem::AVPlayerItem(std::shared_ptr<AVAsset> asset)
    : asset_(std::move(asset)), anchorMicros_(QMClock::currentTimeMicros()) {}

AVPlayerItem::~AVPlayerItem() = default;

std::shared_ptr<AVPlayerItem> AVPlayerItem::playerItemWithURL(std::shared_ptr<QMURL> URL) {
    return std::make_shared<AVPlayerItem>(AVURLAsset::URLAssetWithURL(std::move(URL)));
}

std::shared_ptr<AVPlayerItem> AVPlayerItem::playerItemWithAsset(std::shared_ptr<AVAsset> asset) {
    return std::make_shared<AVPlayerItem>(std::move(asset));
}

void AVPlayerItem::setStatus(AVPlayerItemStatus status) {
    if (QMSetObservedValue(*this, "status", status_, status, std::equal_to<AVPlayerItemStatus>{},
                           [this] { reanchor(); })) {
        timingChanged(false);
    }
}

void AVPlayerItem::setError(std::shared_ptr<QMError> error) {
    QMSetObservedValue(*this, "error", error_, std::move(error));
}

void AVPlayerItem::setDuration(CMTime duration) {
    const auto same = [this](const CMTime& a, const CMTime& b) {
        return durationLoaded_ && CMTimeCompare(a, b) == 0 && a.flags == b.flags;
    };
    if (QMSetObservedValue(*this, "duration", duration_, duration, same, [this] {
            reanchor();
            durationLoaded_ = true;
        })) {
        timingChanged(false);
    }
}

CMTime AVPlayerItem::currentTime() const {
    return CMTime{positionNanosAt(QMClock::currentTimeMicros()), kCMTimeMaxTimescale, kCMTimeFlags_Valid, 0};
}

void AVPlayerItem::seekToTime(CMTime time) {
    if (!CMTIME_IS_NUMERIC(time)) {
        throw QMInvalidArgumentException("AVPlayerItem cannot seek to a time that is not numeric");
    }
    anchorMicros_ = QMClock::currentTimeMicros();
    anchorNanos_ = nanosOf(time);
    // Held within the timeline by reading it back through the clamping.
    anchorNanos_ = positionNanosAt(anchorMicros_);
    timingChanged(true);
    post(AVPlayerItemTimeJumpedNotification);
}

void AVPlayerItem::setPresentationSize(CGSize presentationSize) {
    QMSetObservedValue(*this, "presentationSize", presentationSize_, presentationSize, CGSizeEqualToSize);
}

void AVPlayerItem::setPlaybackBufferEmpty(bool playbackBufferEmpty) {
    if (QMSetObservedValue(*this, "playbackBufferEmpty", playbackBufferEmpty_, playbackBufferEmpty,
                           std::equal_to<bool>{}, [this] { reanchor(); })) {
        timingChanged(false);
    }
}

void AVPlayerItem::setPlaybackLikelyToKeepUp(bool playbackLikelyToKeepUp) {
    QMSetObservedValue(*this, "playbackLikelyToKeepUp", playbackLikelyToKeepUp_, playbackLikelyToKeepUp);
}

void AVPlayerItem::setPlaybackBufferFull(bool playbackBufferFull) {
    QMSetObservedValue(*this, "playbackBufferFull", playbackBufferFull_, playbackBufferFull);
}

std::shared_ptr<AVPlayerItemAccessLog> AVPlayerItem::accessLog() const { return accessLog_; }

std::shared_ptr<AVPlayerItemErrorLog> AVPlayerItem::errorLog() const { return errorLog_; }

void AVPlayerItem::addAccessLogEvent(std::shared_ptr<AVPlayerItemAccessLogEvent> event) {
    if (!accessLog_) {
        accessLog_ = std::make_shared<AVPlayerItemAccessLog>();
    }
    accessLog_->addEvent(std::move(event));
    post(AVPlayerItemNewAccessLogEntryNotification);
}

void AVPlayerItem::addErrorLogEvent(std::shared_ptr<AVPlayerItemErrorLogEvent> event) {
    if (!errorLog_) {
        errorLog_ = std::make_shared<AVPlayerItemErrorLog>();
    }
    errorLog_->addEvent(std::move(event));
    post(AVPlayerItemNewErrorLogEntryNotification);
}

void AVPlayerItem::postDidPlayToEndTime() { post(AVPlayerItemDidPlayToEndTimeNotification); }

void AVPlayerItem::postPlaybackStalled() { post(AVPlayerItemPlaybackStalledNotification); }

void AVPlayerItem::postFailedToPlayToEndTime(const std::shared_ptr<QMError>& error) {
    QMUserInfo userInfo;
    if (error) {
        userInfo[AVPlayerItemFailedToPlayToEndTimeErrorKey] = error;
    }
    QMNotificationCenter::defaultCenter()->postNotificationName(AVPlayerItemFailedToPlayToEndTimeNotification,
                                                                shared_from_this(), std::move(userInfo));
}

void AVPlayerItem::setPlayerRate(float rate) {
    if (rate == playerRate_) {
        return;
    }
    reanchor();
    playerRate_ = rate;
    timingChanged(false);
}

void AVPlayerItem::timingChanged(bool jumped) {
    if (timingObserver_) {
        timingObserver_(jumped);
    }
}

bool AVPlayerItem::isPlayheadMoving() const {
    return status_ == AVPlayerItemStatusReadyToPlay && !playbackBufferEmpty_ && playerRate_ != 0.0f &&
           !std::isnan(playerRate_);
}

int64_t AVPlayerItem::positionNanosAt(int64_t nowMicros) const {
    const bool durationKnown = CMTIME_IS_NUMERIC(duration_) && duration_.timescale > 0;
    return playheadNanosAt(anchorNanos_, anchorMicros_, nowMicros, isPlayheadMoving(), playerRate_,
                           durationKnown ? std::optional<int64_t>(nanosOf(duration_)) : std::nullopt);
}

void AVPlayerItem::reanchor() {
    const int64_t now = QMClock::currentTimeMicros();
    anchorNanos_ = positionNanosAt(now);
    anchorMicros_ = now;
}

void AVPlayerItem::post(const char* name) {
    QMNotificationCenter::defaultCenter()->postNotificationName(name, shared_from_this());
}

}  // namespace veyrakit
