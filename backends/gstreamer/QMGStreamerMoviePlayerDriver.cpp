#include "veyrakit/gstreamer/QMGStreamerMoviePlayerDriver.h"

#include <algorithm>
#include <any>
#include <stdexcept>
#include <utility>

#include "QMGStreamerProblem.h"
#include "veyrakit/platform/QMError.h"
#include "veyrakit/platform/QMRunLoop.h"
#include "veyrakit/platform/avfoundation/AVError.h"
#include "veyrakit/platform/mediaplayer/MPMovieAccessLogEvent.h"
#include "veyrakit/platform/mediaplayer/MPMovieErrorLogEvent.h"

namespace veyrakit {

namespace {

std::string contentURL(const std::shared_ptr<MPMoviePlayerController>& player) {
    if (!player || !player->contentURL()) {
        throw std::runtime_error("QMGStreamerMoviePlayerDriver: the player has no content URL");
    }
    return player->contentURL()->absoluteString();
}

double doubleIn(const QMKeyValueChange& change, const char* key) {
    const auto found = change.find(key);
    return found == change.end() ? 0.0 : std::any_cast<double>(found->second);
}

}  // namespace

std::shared_ptr<QMGStreamerMoviePlayerDriver> QMGStreamerMoviePlayerDriver::driverWithPlayer(
    std::shared_ptr<MPMoviePlayerController> player, Options options) {
    auto driver = std::make_shared<QMGStreamerMoviePlayerDriver>(std::move(player), options);
    driver->start();
    return driver;
}

std::shared_ptr<QMGStreamerMoviePlayerDriver> QMGStreamerMoviePlayerDriver::driverWithPlayer(
    std::shared_ptr<MPMoviePlayerController> player) {
    return driverWithPlayer(std::move(player), Options{});
}

QMGStreamerMoviePlayerDriver::QMGStreamerMoviePlayerDriver(std::shared_ptr<MPMoviePlayerController> player,
                                                           Options options)
    : player_(std::move(player)), url_(contentURL(player_)), options_(options), log_(url_) {}

QMGStreamerMoviePlayerDriver::~QMGStreamerMoviePlayerDriver() { finish(); }

void QMGStreamerMoviePlayerDriver::start() {
    pipeline_ = QMGStreamerPipeline::pipelineWithURI(url_, options_, this);
    player_->addObserver(this, "playbackState", NSKeyValueObservingOptionNew, nullptr);
    player_->addObserver(this, "currentPlaybackRate", NSKeyValueObservingOptionNew, nullptr);
    player_->addObserver(this, "currentPlaybackTime",
                         NSKeyValueObservingOptionOld | NSKeyValueObservingOptionNew, nullptr);
    observing_ = true;
    // An app that asked to play before the driver existed waits for the content like any other.
    waitForContentIfPlaying();
    applyState();
}

void QMGStreamerMoviePlayerDriver::stop() {
    if (!over_) {
        over_ = true;
        closeAccessLogEvent();
    }
    finish();
}

void QMGStreamerMoviePlayerDriver::finish() {
    if (observing_) {
        observing_ = false;
        player_->removeObserver(this, "playbackState");
        player_->removeObserver(this, "currentPlaybackRate");
        player_->removeObserver(this, "currentPlaybackTime");
    }
    if (pipeline_) {
        pipeline_->close();
        pipeline_.reset();
    }
}

void QMGStreamerMoviePlayerDriver::observeValueForKeyPath(const std::string& keyPath, QMObject*,
                                                          const QMKeyValueChange& change, void*) {
    if (over_ || settingState_) {
        return;
    }
    if (keyPath == "playbackState") {
        // The player answers once the app's change has reached every observer (its notification
        // too), as an event of its own.
        std::weak_ptr<QMGStreamerMoviePlayerDriver> weakSelf = selfAs<QMGStreamerMoviePlayerDriver>();
        QMRunLoop::mainRunLoop()->post([weakSelf] {
            auto self = weakSelf.lock();
            if (self && !self->over_) {
                self->onPlaybackStateChanged();
                self->applyState();
            }
        });
        return;
    }
    if (keyPath == "currentPlaybackTime") {
        onPlaybackTimeJumped(doubleIn(change, NSKeyValueChangeOldKey),
                             doubleIn(change, NSKeyValueChangeNewKey));
    }
    applyState();
}

void QMGStreamerMoviePlayerDriver::onPlaybackStateChanged() {
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

void QMGStreamerMoviePlayerDriver::waitForContentIfPlaying() {
    if (!ready_ && player_->playbackState() == MPMoviePlaybackStatePlaying) {
        player_->setLoadState(MPMovieLoadStateStalled);
    }
}

void QMGStreamerMoviePlayerDriver::onPlaybackTimeJumped(double from, double to) {
    if (!ready_) {
        // Before loading ends the pipeline cannot seek yet; it starts where the model says.
        return;
    }
    const MPMoviePlaybackState before = stateAfterSeek_.value_or(player_->playbackState());
    setPlaybackState(to >= from ? MPMoviePlaybackStateSeekingForward : MPMoviePlaybackStateSeekingBackward);
    stateAfterSeek_ = before;
    seeking_ = true;
    seekPrerolled_ = false;
    pipeline_->seekTo(to);
}

void QMGStreamerMoviePlayerDriver::endSeekIfRefilled() {
    // A seek's flush empties the queues by design: refilling them is part of the seek.
    if (!seeking_ || !seekPrerolled_ || buffering_) {
        return;
    }
    seeking_ = false;
    if (stateAfterSeek_) {
        const MPMoviePlaybackState state = *stateAfterSeek_;
        stateAfterSeek_.reset();
        setPlaybackState(state);
    }
}

void QMGStreamerMoviePlayerDriver::setPlaybackState(MPMoviePlaybackState state) {
    settingState_ = true;
    player_->setPlaybackState(state);
    settingState_ = false;
}

bool QMGStreamerMoviePlayerDriver::wantsToPlay() const {
    return stateAfterSeek_.value_or(player_->playbackState()) == MPMoviePlaybackStatePlaying &&
           player_->currentPlaybackRate() > 0.0f;
}

void QMGStreamerMoviePlayerDriver::applyState() {
    if (!over_ && pipeline_) {
        pipeline_->requestState(ready_ && !buffering_ && wantsToPlay() ? GST_STATE_PLAYING
                                                                       : GST_STATE_PAUSED);
    }
}

void QMGStreamerMoviePlayerDriver::pipelinePrerolled() {
    prerolled_ = true;
    if (ready_) {
        seekPrerolled_ = true;
        endSeekIfRefilled();
    } else {
        becomeReadyIfLoaded();
    }
    applyState();
}

void QMGStreamerMoviePlayerDriver::pipelineStateReached(GstState state) {
    if (state != GST_STATE_PLAYING) {
        return;
    }
    if (!started_) {
        started_ = true;
        openAccessLogEvent();
    }
    if (!buffering_) {
        player_->setLoadState(
            static_cast<MPMovieLoadState>(MPMovieLoadStatePlayable | MPMovieLoadStatePlaythroughOK));
    }
}

void QMGStreamerMoviePlayerDriver::pipelineBuffering(int percent) {
    const bool buffering = percent < 100;
    if (buffering == buffering_) {
        return;
    }
    buffering_ = buffering;
    if (!started_) {
        becomeReadyIfLoaded();
    } else if (seeking_) {
        endSeekIfRefilled();
    } else {
        buffering ? beginStall() : player_->setLoadState(MPMovieLoadStatePlayable);
    }
    applyState();
}

void QMGStreamerMoviePlayerDriver::beginStall() {
    player_->setLoadState(MPMovieLoadStateStalled);
    if (currentEvent_) {
        currentEvent_->setNumberOfStalls(currentEvent_->numberOfStalls() + 1);
    }
}

void QMGStreamerMoviePlayerDriver::becomeReadyIfLoaded() {
    if (ready_ || !prerolled_ || buffering_) {
        return;
    }
    ready_ = true;
    player_->setMovieSourceType(log_.isStreaming() ? MPMovieSourceTypeStreaming : MPMovieSourceTypeFile);
    player_->setMovieMediaTypes(static_cast<MPMovieMediaTypeMask>(mediaTypes_));
    if (const auto duration = pipeline_->durationSeconds()) {
        player_->setDuration(*duration);
    }
    if (videoSize_) {
        player_->setNaturalSize(*videoSize_);
    }
    player_->setLoadState(MPMovieLoadStatePlayable);
    player_->setReadyForDisplay(true);
    if (player_->currentPlaybackTime() > 0.0) {
        // The app chose where to start while the content loaded.
        pipeline_->seekTo(player_->currentPlaybackTime());
    }
}

void QMGStreamerMoviePlayerDriver::pipelineStreamsAnnounced(bool video, bool audio) {
    if (video) mediaTypes_ |= MPMovieMediaTypeMaskVideo;
    if (audio) mediaTypes_ |= MPMovieMediaTypeMaskAudio;
    if (ready_ && !over_) {
        player_->setMovieMediaTypes(static_cast<MPMovieMediaTypeMask>(mediaTypes_));
    }
}

void QMGStreamerMoviePlayerDriver::pipelineVariantAnnounced(const std::string& uri, double bitrate,
                                                            double measuredBitrate) {
    if (log_.noteVariant(uri, bitrate, measuredBitrate) && started_) {
        closeAccessLogEvent();
        openAccessLogEvent();
    }
}

void QMGStreamerMoviePlayerDriver::pipelineVideoSize(int width, int height) {
    videoSize_ = CGSizeMake(width, height);
    if (ready_ && !over_) {
        player_->setNaturalSize(*videoSize_);
    }
}

void QMGStreamerMoviePlayerDriver::openAccessLogEvent() {
    currentEvent_ = std::make_shared<MPMovieAccessLogEvent>();
    log_.fillAccessLogEvent(*currentEvent_, player_->currentPlaybackTime());
    player_->addAccessLogEvent(currentEvent_);
}

void QMGStreamerMoviePlayerDriver::pipelineDownloaded(int64_t bytes, int64_t mediaRequests) {
    log_.noteDownloaded(bytes, mediaRequests);
    if (currentEvent_) {
        log_.updateTransfers(*currentEvent_);
    }
}

void QMGStreamerMoviePlayerDriver::closeAccessLogEvent() {
    if (currentEvent_) {
        log_.closeAccessLogEvent(*currentEvent_, player_->currentPlaybackTime());
    }
}

void QMGStreamerMoviePlayerDriver::logError(long statusCode, const std::string& comment) {
    auto event = std::make_shared<MPMovieErrorLogEvent>();
    log_.fillErrorLogEvent(*event, statusCode, comment);
    player_->addErrorLogEvent(std::move(event));
}

void QMGStreamerMoviePlayerDriver::pipelineHTTPWarning(const QMGStreamerProblem& problem) {
    logError(problem.httpStatus(), problem.comment());
}

void QMGStreamerMoviePlayerDriver::pipelineError(const QMGStreamerProblem& problem) {
    const long code = problem.platformErrorCode();
    logError(problem.logStatusCode(), problem.comment());
    finishPlayback(MPMovieFinishReasonPlaybackError,
                   QMError::errorWithDomain(AVFoundationErrorDomain, code,
                                            problem.message().empty() ? "The operation could not be completed"
                                                                      : problem.message()));
}

void QMGStreamerMoviePlayerDriver::pipelineEndOfStream() {
    finishPlayback(MPMovieFinishReasonPlaybackEnded, nullptr);
}

void QMGStreamerMoviePlayerDriver::finishPlayback(MPMovieFinishReason reason,
                                                  const std::shared_ptr<QMError>& error) {
    over_ = true;
    closeAccessLogEvent();
    // Nothing the observers of the finish do to the model reaches the pipeline any more.
    finish();
    player_->finishPlayback(reason, error);
    player_->setPlaybackState(MPMoviePlaybackStateStopped);
}

}  // namespace veyrakit
