#include "veyrakit/gstreamer/QMGStreamerMPMoviePlayerDriver.h"

#include <any>
#include <cmath>
#include <stdexcept>
#include <utility>

#include "veyrakit/platform/QMError.h"
#include "veyrakit/platform/QMRunLoop.h"
#include "veyrakit/platform/avfoundation/AVError.h"
#include "veyrakit/platform/mediaplayer/MPMovieAccessLogEvent.h"
#include "veyrakit/platform/mediaplayer/MPMovieErrorLogEvent.h"

namespace veyrakit {

namespace {

std::string contentURL(const std::shared_ptr<MPMoviePlayerController>& player) {
    if (!player || !player->contentURL()) {
        throw std::runtime_error("QMGStreamerMPMoviePlayerDriver: the player has no content URL");
    }
    return player->contentURL()->absoluteString();
}

double doubleIn(const QMKeyValueChange& change, const char* key) {
    const auto found = change.find(key);
    return found == change.end() ? 0.0 : std::any_cast<double>(found->second);
}

}  // namespace

std::shared_ptr<QMGStreamerMPMoviePlayerDriver> QMGStreamerMPMoviePlayerDriver::driverWithPlayer(
    std::shared_ptr<MPMoviePlayerController> player, Options options) {
    const std::string url = contentURL(player);
    auto driver = std::make_shared<QMGStreamerMPMoviePlayerDriver>(std::move(player), url);
    driver->follow(QMGStreamerPipeline::build(url, options));
    driver->observeModel();
    // An app that asked to play before the driver existed waits for the content like any other.
    driver->waitForContentIfPlaying();
    driver->applyState();
    return driver;
}

std::shared_ptr<QMGStreamerMPMoviePlayerDriver> QMGStreamerMPMoviePlayerDriver::driverWithPlayer(
    std::shared_ptr<MPMoviePlayerController> player) {
    return driverWithPlayer(std::move(player), Options{});
}

std::shared_ptr<QMGStreamerMPMoviePlayerDriver> QMGStreamerMPMoviePlayerDriver::driverFollowing(
    std::shared_ptr<QMGStreamerPipeline> pipeline, std::shared_ptr<MPMoviePlayerController> player) {
    const std::string url = contentURL(player);
    auto driver = std::make_shared<QMGStreamerMPMoviePlayerDriver>(std::move(player), url);
    driver->follow(std::move(pipeline));
    return driver;
}

QMGStreamerMPMoviePlayerDriver::QMGStreamerMPMoviePlayerDriver(
    std::shared_ptr<MPMoviePlayerController> player, const std::string& url)
    : QMGStreamerDriver(url), player_(std::move(player)) {}

QMGStreamerMPMoviePlayerDriver::~QMGStreamerMPMoviePlayerDriver() { modelUnobserved(); }

void QMGStreamerMPMoviePlayerDriver::observeModel() {
    player_->addObserver(this, "playbackState", NSKeyValueObservingOptionNew, nullptr);
    player_->addObserver(this, "currentPlaybackRate", NSKeyValueObservingOptionNew, nullptr);
    player_->addObserver(this, "currentPlaybackTime",
                         NSKeyValueObservingOptionOld | NSKeyValueObservingOptionNew, nullptr);
    observing_ = true;
}

void QMGStreamerMPMoviePlayerDriver::modelUnobserved() {
    if (observing_) {
        observing_ = false;
        player_->removeObserver(this, "playbackState");
        player_->removeObserver(this, "currentPlaybackRate");
        player_->removeObserver(this, "currentPlaybackTime");
    }
}

void QMGStreamerMPMoviePlayerDriver::observeValueForKeyPath(const std::string& keyPath, QMObject*,
                                                            const QMKeyValueChange& change, void*) {
    if (isOver() || settingState_) {
        return;
    }
    if (keyPath == "playbackState") {
        // The player answers once the app's change has reached every observer (its notification
        // too), as an event of its own.
        std::weak_ptr<QMGStreamerMPMoviePlayerDriver> weakSelf = selfAs<QMGStreamerMPMoviePlayerDriver>();
        QMRunLoop::mainRunLoop()->post([weakSelf] {
            auto self = weakSelf.lock();
            if (self && !self->isOver()) {
                self->onPlaybackStateChanged();
                self->applyState();
            }
        });
        return;
    }
    if (keyPath == "currentPlaybackTime") {
        const double from = doubleIn(change, NSKeyValueChangeOldKey);
        const double to = doubleIn(change, NSKeyValueChangeNewKey);
        if (isReady()) {
            onPlaybackTimeJumped(from, to);
            seekPipeline(to);
        } else {
            // Before loading ends the pipeline cannot seek yet; it starts where the app said.
            startPosition_ = to;
        }
    }
    applyState();
}

void QMGStreamerMPMoviePlayerDriver::onPlaybackStateChanged() {
    // The app's own choice ends the wait for the seek's end: nothing to go back to.
    stateAfterSeek_.reset();
    switch (player_->playbackState()) {
        case MPMoviePlaybackStatePlaying:
            waitForContentIfPlaying();
            break;
        case MPMoviePlaybackStateStopped:
            // The app stopped playback: the viewer is done with this movie.
            finishPlayback(MPMovieFinishReasonUserExited, nullptr);
            break;
        default:
            break;
    }
}

void QMGStreamerMPMoviePlayerDriver::waitForContentIfPlaying() {
    if (!isReady() && player_->playbackState() == MPMoviePlaybackStatePlaying) {
        player_->setLoadState(MPMovieLoadStateStalled);
    }
}

void QMGStreamerMPMoviePlayerDriver::onPlaybackTimeJumped(double from, double to) {
    const MPMoviePlaybackState before = stateAfterSeek_.value_or(player_->playbackState());
    setPlaybackState(to >= from ? MPMoviePlaybackStateSeekingForward : MPMoviePlaybackStateSeekingBackward);
    stateAfterSeek_ = before;
}

void QMGStreamerMPMoviePlayerDriver::modelSeekEnds() {
    if (stateAfterSeek_) {
        const MPMoviePlaybackState state = *stateAfterSeek_;
        stateAfterSeek_.reset();
        setPlaybackState(state);
    }
}

void QMGStreamerMPMoviePlayerDriver::setPlaybackState(MPMoviePlaybackState state) {
    settingState_ = true;
    player_->setPlaybackState(state);
    settingState_ = false;
}

bool QMGStreamerMPMoviePlayerDriver::modelWantsToPlay() const {
    return stateAfterSeek_.value_or(player_->playbackState()) == MPMoviePlaybackStatePlaying &&
           player_->currentPlaybackRate() > 0.0f;
}

void QMGStreamerMPMoviePlayerDriver::ownerPlays(float rate) {
    if (player_->currentPlaybackRate() != rate) {
        player_->setCurrentPlaybackRate(rate);
    }
    if (player_->playbackState() != MPMoviePlaybackStatePlaying && !stateAfterSeek_) {
        player_->play();
    }
    waitForContentIfPlaying();
}

void QMGStreamerMPMoviePlayerDriver::ownerPauses() {
    stateAfterSeek_.reset();
    if (player_->playbackState() != MPMoviePlaybackStatePaused) {
        player_->pause();
    }
}

void QMGStreamerMPMoviePlayerDriver::ownerStops() {
    // The app's stop, then the player's answer to it.
    player_->stop();
    finishPlayback(MPMovieFinishReasonUserExited, nullptr);
}

void QMGStreamerMPMoviePlayerDriver::ownerSeeks(double position) {
    const double from = player_->currentPlaybackTime();
    if (!isReady() || std::fabs(from - position) <= 0.0005) {
        return;
    }
    settingState_ = true;
    player_->setCurrentPlaybackTime(position);
    settingState_ = false;
    onPlaybackTimeJumped(from, position);
}

void QMGStreamerMPMoviePlayerDriver::modelReachesPlaying() {
    if (!isBuffering()) {
        player_->setLoadState(
            static_cast<MPMovieLoadState>(MPMovieLoadStatePlayable | MPMovieLoadStatePlaythroughOK));
    }
}

void QMGStreamerMPMoviePlayerDriver::modelStalls() {
    player_->setLoadState(MPMovieLoadStateStalled);
    countStall();
}

void QMGStreamerMPMoviePlayerDriver::modelRecovers() { player_->setLoadState(MPMovieLoadStatePlayable); }

void QMGStreamerMPMoviePlayerDriver::modelBecomesReady(const std::optional<double>& duration,
                                                       const std::optional<CGSize>& size) {
    player_->setMovieSourceType(log().isStreaming() ? MPMovieSourceTypeStreaming : MPMovieSourceTypeFile);
    player_->setMovieMediaTypes(static_cast<MPMovieMediaTypeMask>(mediaTypes_));
    if (duration) {
        player_->setDuration(*duration);
    }
    if (size) {
        player_->setNaturalSize(*size);
    }
    player_->setLoadState(MPMovieLoadStatePlayable);
    player_->setReadyForDisplay(true);
    if (startPosition_ && *startPosition_ > 0.0) {
        // The app chose where to start while the content loaded: no seek of the viewer's. Only
        // then: the playhead may have moved a little while loading, and a seek would fetch the
        // first fragments again.
        pipeline()->seekTo(*startPosition_);
    }
}

void QMGStreamerMPMoviePlayerDriver::modelHasStreams(bool video, bool audio) {
    if (video) mediaTypes_ |= MPMovieMediaTypeMaskVideo;
    if (audio) mediaTypes_ |= MPMovieMediaTypeMaskAudio;
    if (isReady()) {
        player_->setMovieMediaTypes(static_cast<MPMovieMediaTypeMask>(mediaTypes_));
    }
}

void QMGStreamerMPMoviePlayerDriver::modelShowsPictureSize(CGSize size) { player_->setNaturalSize(size); }

void QMGStreamerMPMoviePlayerDriver::modelLearnsDuration(double seconds) {
    if (player_->duration() <= 0.0) player_->setDuration(seconds);
}

std::shared_ptr<QMMediaAccessLogEvent> QMGStreamerMPMoviePlayerDriver::modelOpensAccessLogEvent(bool) {
    auto event = std::make_shared<MPMovieAccessLogEvent>();
    log().fillAccessLogEvent(*event, player_->currentPlaybackTime());
    player_->addAccessLogEvent(event);
    return event;
}

void QMGStreamerMPMoviePlayerDriver::modelLogsError(long statusCode, const std::string& comment,
                                                    const std::string& domain) {
    auto event = std::make_shared<MPMovieErrorLogEvent>();
    log().fillErrorLogEvent(*event, statusCode, comment, domain);
    player_->addErrorLogEvent(std::move(event));
}

void QMGStreamerMPMoviePlayerDriver::modelFails(const std::string& domain, long code,
                                                const std::string& description) {
    finishPlayback(MPMovieFinishReasonPlaybackError, QMError::errorWithDomain(domain, code, description));
}

void QMGStreamerMPMoviePlayerDriver::modelEnds() {
    finishPlayback(MPMovieFinishReasonPlaybackEnded, nullptr);
}

void QMGStreamerMPMoviePlayerDriver::finishPlayback(MPMovieFinishReason reason,
                                                    const std::shared_ptr<QMError>& error) {
    stop();
    player_->finishPlayback(reason, error);
    setPlaybackState(MPMoviePlaybackStateStopped);
}

double QMGStreamerMPMoviePlayerDriver::modelPlayhead() const { return player_->currentPlaybackTime(); }

}  // namespace veyrakit
