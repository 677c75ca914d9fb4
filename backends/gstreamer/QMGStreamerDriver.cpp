#include "veyrakit/gstreamer/QMGStreamerDriver.h"

#include <algorithm>
#include <utility>

#include "QMGStreamerProblem.h"
#include "veyrakit/platform/QMRunLoop.h"
#include "veyrakit/platform/QMTimer.h"
#include "veyrakit/platform/avfoundation/QMMediaAccessLogEvent.h"

namespace veyrakit {

namespace {

int64_t nowMicros() { return QMRunLoop::mainRunLoop()->nowMicros(); }

}  // namespace

QMGStreamerDriver::QMGStreamerDriver(std::string url) : log_(std::move(url)) {}

QMGStreamerDriver::~QMGStreamerDriver() {
    if (pipeline_) {
        pipeline_->removeListener(this);
        pipeline_->close();
    }
}

void QMGStreamerDriver::follow(std::shared_ptr<QMGStreamerPipeline> pipeline) {
    pipeline_ = std::move(pipeline);
    pipeline_->addListener(this);
    startMicros_ = nowMicros();
}

void QMGStreamerDriver::stop() {
    if (!over_) {
        over_ = true;
        closeAccessLogEvent();
    }
    finish();
}

void QMGStreamerDriver::finish() {
    stopWatchingProgress();
    if (!pipeline_) {
        return;
    }
    modelUnobserved();
    auto pipeline = std::move(pipeline_);
    pipeline->removeListener(this);
    // An owned pipeline is the driver's to bring down; an attached one is the app's.
    if (pipeline->isOwned()) {
        pipeline->close();
    }
}

void QMGStreamerDriver::countStall() {
    if (currentEvent_) {
        currentEvent_->setNumberOfStalls(currentEvent_->numberOfStalls() + 1);
    }
}

void QMGStreamerDriver::pipelineDownloaded(const QMGStreamerDownloads& downloads) {
    log_.noteDownloaded(downloads);
    refreshTransfers();
}

void QMGStreamerDriver::pipelinePrerolled() {
    prerolled_ = true;
    if (seeking_) {
        seekPrerolled_ = true;
        endSeekIfRefilled();
    }
    becomeReadyIfLoaded();
    applyState();
}

void QMGStreamerDriver::pipelineBuffering(int percent) {
    const bool buffering = percent < 100;
    if (buffering == buffering_) {
        return;
    }
    buffering_ = buffering;
    // An app may play its pipeline while it still fills: the model is ready once it has.
    if (!started_ || !ready_) {
        becomeReadyIfLoaded();
    } else if (seeking_) {
        endSeekIfRefilled();
    } else if (buffering) {
        // After a failed download, running dry is the end of what was in hand.
        if (failIfPending()) return;
        modelStalls();
    } else {
        modelRecovers();
    }
    applyState();
}

void QMGStreamerDriver::leave() {
    // The app stops after a failure (most do at its error): the failure is what ended playback.
    if (over_ || failIfPending()) {
        return;
    }
    over_ = true;
    closeAccessLogEvent();
    finish();
    ownerStops();
}

void QMGStreamerDriver::pipelineStateChanged(GstState current, GstState target) {
    if (isFollowingOwner() && target <= GST_STATE_READY) {
        // The app stopped the pipeline (or took it to another item): this playback is over.
        leave();
        return;
    }
    // The app's wish before the pipeline's answer to it, as a player is asked to play and then
    // plays: a model that played before it was asked would be past its join when its plugin,
    // which starts on play, first looks.
    if (isFollowingOwner()) {
        followOwner(target);
    }
    if (current == GST_STATE_PLAYING) {
        if (!started_) {
            started_ = true;
            // Some demuxers know the duration only once data flows, and say nothing when they do.
            pipelineDurationChanged();
            openAccessLogEvent();
        }
        modelReachesPlaying();
    }
}

void QMGStreamerDriver::followOwner(GstState target) {
    // A pipeline its owner pauses to refill (or that a seek flushes) is not paused by the viewer.
    if (target == GST_STATE_PLAYING) {
        ownerPlays(rate_);
        if (!ownerAskedToPlay_) {
            ownerAskedToPlay_ = true;
            becomeReadyIfLoaded();
        }
    } else if (target == GST_STATE_PAUSED && !buffering_ && !seeking_) {
        ownerPauses();
    }
}

void QMGStreamerDriver::pipelineSeeked(double position, double rate) {
    // An owned pipeline seeks when the driver asks (seekPipeline): nothing new to learn.
    if (!isFollowingOwner()) {
        return;
    }
    if (rate > 0 && static_cast<float>(rate) != rate_) {
        rate_ = static_cast<float>(rate);
        if (started_) ownerPlays(rate_);
    }
    if (position >= 0) {
        seeking_ = true;
        seekPrerolled_ = false;
        ownerSeeks(position);
    }
}

void QMGStreamerDriver::applyState() {
    if (!over_ && pipeline_ && pipeline_->isOwned()) {
        pipeline_->requestState(ready_ && !buffering_ && modelWantsToPlay() ? GST_STATE_PLAYING
                                                                            : GST_STATE_PAUSED);
    }
}

void QMGStreamerDriver::seekPipeline(double position) {
    if (!over_ && pipeline_ && pipeline_->isOwned()) {
        seeking_ = true;
        seekPrerolled_ = false;
        pipeline_->seekTo(position);
    }
}

void QMGStreamerDriver::endSeekIfRefilled() {
    // A seek's flush empties the queues by design: refilling them is part of the seek.
    if (seeking_ && seekPrerolled_ && !buffering_) {
        seeking_ = false;
        modelSeekEnds();
    }
}

void QMGStreamerDriver::becomeReadyIfLoaded() {
    if (ready_ || !prerolled_ || buffering_) {
        return;
    }
    // An app's pipeline prerolls before it plays, and whether the preroll ends before or after
    // the app asks to play is a race of milliseconds. A model ready before play would have its
    // duration and load state before its plugin, which starts on play, looks: sessions with or
    // without a join and a duration by chance. Ready at the app's play, every session has both,
    // and the join is the wait the viewer had after play.
    if (isFollowingOwner() && !ownerAskedToPlay_) {
        return;
    }
    ready_ = true;
    readyMicros_ = nowMicros();
    modelBecomesReady(pipeline_->durationSeconds(), videoSize_);
    applyState();
}

void QMGStreamerDriver::pipelineStreamsAnnounced(bool video, bool audio) { modelHasStreams(video, audio); }

void QMGStreamerDriver::pipelineVariantShown(const std::string& uri, double bitrate) {
    if (!started_) {
        log_.noteVariant(uri, bitrate);
        return;
    }
    if (uri != log_.variantShown()) {
        closeAccessLogEvent(uri);
        log_.noteVariant(uri, bitrate);
        openAccessLogEvent();
    }
}

void QMGStreamerDriver::pipelineDurationChanged() {
    if (ready_ && !over_) {
        if (const auto duration = pipeline_->durationSeconds()) modelLearnsDuration(*duration);
    }
}

void QMGStreamerDriver::pipelineVideoSize(int width, int height) {
    videoSize_ = CGSizeMake(width, height);
    if (ready_) {
        modelShowsPictureSize(*videoSize_);
    }
}

void QMGStreamerDriver::openAccessLogEvent() {
    currentEvent_ = modelOpensAccessLogEvent(!log_.hasOpenedEntry());
}

void QMGStreamerDriver::refreshTransfers() {
    if (currentEvent_) {
        modelCountsTransfers(*currentEvent_, log_.updateTransfers(*currentEvent_));
    }
}

void QMGStreamerDriver::closeAccessLogEvent(const std::optional<std::string>& next) {
    if (currentEvent_) {
        modelCountsTransfers(*currentEvent_, log_.closeAccessLogEvent(*currentEvent_, modelPlayhead(), next));
    }
}

void QMGStreamerDriver::pipelineHTTPWarning(const QMGStreamerProblem& problem) {
    modelLogsError(problem.httpStatus(), problem.comment(), problem.logDomain());
}

void QMGStreamerDriver::pipelineError(const QMGStreamerProblem& problem) {
    if (pendingFailure_) {
        return;  // what follows the first failure only repeats it
    }
    modelLogsError(problem.logStatusCode(), problem.comment(), problem.logDomain());
    const bool download = problem.cause() != QMGStreamerCause::Unsupported &&
                          problem.cause() != QMGStreamerCause::Corrupt &&
                          problem.cause() != QMGStreamerCause::Unknown;
    if (ready_ && download) {
        // A download failed with media in hand: playback goes on with what is buffered (or on
        // another variant, where the demuxer finds one) and fails when it runs out.
        pendingFailure_ = std::make_unique<QMGStreamerProblem>(problem);
        watchProgress();
        return;
    }
    fail(problem);
}

void QMGStreamerDriver::fail(const QMGStreamerProblem& problem) {
    over_ = true;
    stopWatchingProgress();
    closeAccessLogEvent();
    // Nothing the observers of the failure do to the model reaches the pipeline any more.
    finish();
    failure_ =
        QMError::errorWithDomain(problem.errorDomain(), problem.errorCode(), problem.errorDescription());
    modelFails(problem.errorDomain(), problem.errorCode(), problem.errorDescription());
}

void QMGStreamerDriver::pipelineEndOfStream() {
    if (pendingFailure_) {
        fail(*pendingFailure_);
        return;
    }
    // A stream that stops well short of the duration it announced did not play to its end.
    const auto duration = pipeline_->durationSeconds();
    const auto position = pipeline_->playedToSeconds();
    if (duration && position && *position < *duration - std::max(2.0, *duration * 0.05)) {
        const QMGStreamerProblem early = QMGStreamerProblem::endedEarly(*position, *duration);
        modelLogsError(early.logStatusCode(), early.comment(), early.logDomain());
        fail(early);
        return;
    }
    over_ = true;
    closeAccessLogEvent();
    finish();
    modelEnds();
}

void QMGStreamerDriver::watchProgress() {
    // Buffering messages tell of most runs dry; a pipeline that merely stops moving does not.
    std::weak_ptr<QMGStreamerDriver> weakSelf = selfAs<QMGStreamerDriver>();
    lastPosition_ = pipeline_->positionSeconds();
    progressTimer_ = QMTimer::scheduledTimerWithTimeInterval(
        kProgressCheckSeconds,
        [weakSelf](QMTimer&) {
            if (auto self = weakSelf.lock()) self->checkProgress();
        },
        true);
}

void QMGStreamerDriver::stopWatchingProgress() {
    if (progressTimer_) {
        progressTimer_->invalidate();
        progressTimer_.reset();
    }
}

void QMGStreamerDriver::checkProgress() {
    const auto position = pipeline_ ? pipeline_->positionSeconds() : std::nullopt;
    if (pendingFailure_ && (!position || position == lastPosition_)) {
        fail(*pendingFailure_);
        return;
    }
    lastPosition_ = position;
}

void QMGStreamerDriver::pipelineGone() {
    leave();
    finish();
}

bool QMGStreamerDriver::failIfPending() {
    if (!pendingFailure_ || over_) {
        return false;
    }
    fail(*pendingFailure_);
    return true;
}

}  // namespace veyrakit
