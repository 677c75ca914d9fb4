#include "veyrakit/platform/mediaplayer/MPMoviePlayerController.h"

#include <algorithm>
#include <cmath>

#include "platform/QMClock.h"
#include "platform/QMPlayheadPosition.h"
#include "veyrakit/platform/QMNotificationCenter.h"
#include "veyrakit/platform/avfoundation/QMObservedValue.h"
#include "veyrakit/platform/mediaplayer/MPMoviePlayerNotifications.h"

namespace veyrakit {

MPMoviePlayerController::MPMoviePlayerController(std::shared_ptr<QMURL> contentURL)
    : contentURL_(std::move(contentURL)), anchorMicros_(QMClock::currentTimeMicros()) {}

MPMoviePlayerController::~MPMoviePlayerController() = default;

template <typename T, typename Equal>
void MPMoviePlayerController::change(const char* key, T& field, T value, const char* notification,
                                     Equal equal) {
    // Any property may change the playhead's speed (state, load state, rate, duration).
    const bool changed =
        QMSetObservedValue(*this, key, field, std::move(value), equal, [this] { reanchor(); });
    if (changed && notification) {
        QMNotificationCenter::defaultCenter()->postNotificationName(notification, shared_from_this());
    }
}

void MPMoviePlayerController::setContentURL(std::shared_ptr<QMURL> contentURL) {
    change("contentURL", contentURL_, std::move(contentURL),
           MPMoviePlayerNowPlayingMovieDidChangeNotification);
}

void MPMoviePlayerController::setPlaybackState(MPMoviePlaybackState playbackState) {
    change("playbackState", playbackState_, playbackState, MPMoviePlayerPlaybackStateDidChangeNotification);
}

void MPMoviePlayerController::setLoadState(MPMovieLoadState loadState) {
    change("loadState", loadState_, loadState, MPMoviePlayerLoadStateDidChangeNotification);
}

void MPMoviePlayerController::setDuration(double duration) {
    change("duration", duration_, duration, MPMovieDurationAvailableNotification);
}

double MPMoviePlayerController::currentPlaybackTime() const {
    return static_cast<double>(positionNanosAt(QMClock::currentTimeMicros())) / 1e9;
}

void MPMoviePlayerController::setCurrentPlaybackTime(double currentPlaybackTime) {
    // A jump is announced with the position it left, so that whoever drives the player can seek
    // in the right direction; the playhead moving by itself is not.
    willChangeValueForKey("currentPlaybackTime", this->currentPlaybackTime());
    anchorMicros_ = QMClock::currentTimeMicros();
    anchorNanos_ = std::llround(currentPlaybackTime * 1e9);
    // Held within the timeline by reading it back through the clamping.
    anchorNanos_ = positionNanosAt(anchorMicros_);
    didChangeValueForKey("currentPlaybackTime", this->currentPlaybackTime());
}

void MPMoviePlayerController::setCurrentPlaybackRate(float currentPlaybackRate) {
    change("currentPlaybackRate", currentPlaybackRate_, currentPlaybackRate, nullptr);
}

void MPMoviePlayerController::setNaturalSize(CGSize naturalSize) {
    change("naturalSize", naturalSize_, naturalSize, MPMovieNaturalSizeAvailableNotification,
           CGSizeEqualToSize);
}

void MPMoviePlayerController::setMovieMediaTypes(MPMovieMediaTypeMask movieMediaTypes) {
    change("movieMediaTypes", movieMediaTypes_, movieMediaTypes, MPMovieMediaTypesAvailableNotification);
}

void MPMoviePlayerController::setMovieSourceType(MPMovieSourceType movieSourceType) {
    change("movieSourceType", movieSourceType_, movieSourceType, MPMovieSourceTypeAvailableNotification);
}

void MPMoviePlayerController::setScalingMode(MPMovieScalingMode scalingMode) {
    change("scalingMode", scalingMode_, scalingMode, MPMoviePlayerScalingModeDidChangeNotification);
}

void MPMoviePlayerController::setAirPlayVideoActive(bool airPlayVideoActive) {
    change("airPlayVideoActive", airPlayVideoActive_, airPlayVideoActive,
           MPMoviePlayerIsAirPlayVideoActiveDidChangeNotification);
}

void MPMoviePlayerController::setReadyForDisplay(bool readyForDisplay) {
    change("readyForDisplay", readyForDisplay_, readyForDisplay,
           MPMoviePlayerReadyForDisplayDidChangeNotification);
}

void MPMoviePlayerController::setFullscreen(bool fullscreen, bool animated) {
    if (fullscreen == fullscreen_) {
        return;
    }
    auto center = QMNotificationCenter::defaultCenter();
    center->postNotificationName(fullscreen ? MPMoviePlayerWillEnterFullscreenNotification
                                            : MPMoviePlayerWillExitFullscreenNotification,
                                 shared_from_this());
    change("fullscreen", fullscreen_, fullscreen,
           fullscreen ? MPMoviePlayerDidEnterFullscreenNotification
                      : MPMoviePlayerDidExitFullscreenNotification);
}

void MPMoviePlayerController::addAccessLogEvent(std::shared_ptr<MPMovieAccessLogEvent> event) {
    if (!accessLog_) {
        accessLog_ = std::make_shared<MPMovieAccessLog>();
    }
    accessLog_->addEvent(std::move(event));
}

void MPMoviePlayerController::addErrorLogEvent(std::shared_ptr<MPMovieErrorLogEvent> event) {
    if (!errorLog_) {
        errorLog_ = std::make_shared<MPMovieErrorLog>();
    }
    errorLog_->addEvent(std::move(event));
}

void MPMoviePlayerController::finishPlayback(MPMovieFinishReason reason,
                                             const std::shared_ptr<QMError>& error) {
    QMUserInfo userInfo;
    userInfo[MPMoviePlayerPlaybackDidFinishReasonUserInfoKey] = static_cast<long>(reason);
    if (error) {
        userInfo[MPMoviePlayerPlaybackDidFinishErrorUserInfoKey] = error;
    }
    QMNotificationCenter::defaultCenter()->postNotificationName(MPMoviePlayerPlaybackDidFinishNotification,
                                                                shared_from_this(), std::move(userInfo));
}

bool MPMoviePlayerController::isPlayheadMoving() const {
    const bool hasData = (loadState_ & (MPMovieLoadStatePlayable | MPMovieLoadStatePlaythroughOK)) != 0 &&
                         (loadState_ & MPMovieLoadStateStalled) == 0;
    return playbackState_ == MPMoviePlaybackStatePlaying && hasData && currentPlaybackRate_ != 0.0f &&
           !std::isnan(currentPlaybackRate_);
}

int64_t MPMoviePlayerController::positionNanosAt(int64_t nowMicros) const {
    return playheadNanosAt(
        anchorNanos_, anchorMicros_, nowMicros, isPlayheadMoving(), currentPlaybackRate_,
        duration_ > 0.0 ? std::optional<int64_t>(std::llround(duration_ * 1e9)) : std::nullopt);
}

void MPMoviePlayerController::reanchor() {
    const int64_t now = QMClock::currentTimeMicros();
    anchorNanos_ = positionNanosAt(now);
    anchorMicros_ = now;
}

}  // namespace veyrakit
