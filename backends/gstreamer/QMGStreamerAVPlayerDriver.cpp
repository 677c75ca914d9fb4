#include "veyrakit/gstreamer/QMGStreamerAVPlayerDriver.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <utility>

#include "QMGStreamerProblem.h"
#include "veyrakit/platform/QMError.h"
#include "veyrakit/platform/QMNotificationCenter.h"
#include "veyrakit/platform/QMRunLoop.h"
#include "veyrakit/platform/avfoundation/AVError.h"
#include "veyrakit/platform/avfoundation/AVPlayerItemAccessLogEvent.h"
#include "veyrakit/platform/avfoundation/AVPlayerItemErrorLogEvent.h"
#include "veyrakit/platform/avfoundation/AVPlayerItemNotifications.h"
#include "veyrakit/platform/avfoundation/AVURLAsset.h"

namespace veyrakit {

namespace {

std::string assetURL(const std::shared_ptr<AVPlayer>& player) {
    const auto& item = player ? player->currentItem() : nullptr;
    auto asset = item ? std::dynamic_pointer_cast<AVURLAsset>(item->asset()) : nullptr;
    if (!asset || !asset->URL()) {
        throw std::runtime_error("QMGStreamerAVPlayerDriver: the player's current item has no URL asset");
    }
    return asset->URL()->absoluteString();
}

int64_t nowMicros() { return QMRunLoop::mainRunLoop()->nowMicros(); }

}  // namespace

std::shared_ptr<QMGStreamerAVPlayerDriver> QMGStreamerAVPlayerDriver::driverWithPlayer(
    std::shared_ptr<AVPlayer> player, Options options) {
    auto driver = std::make_shared<QMGStreamerAVPlayerDriver>(std::move(player), options);
    driver->start();
    return driver;
}

std::shared_ptr<QMGStreamerAVPlayerDriver> QMGStreamerAVPlayerDriver::driverWithPlayer(
    std::shared_ptr<AVPlayer> player) {
    return driverWithPlayer(std::move(player), Options{});
}

QMGStreamerAVPlayerDriver::QMGStreamerAVPlayerDriver(std::shared_ptr<AVPlayer> player, Options options)
    : player_(std::move(player)),
      item_(player_ ? player_->currentItem() : nullptr),
      url_(assetURL(player_)),
      options_(options),
      log_(url_) {}

QMGStreamerAVPlayerDriver::~QMGStreamerAVPlayerDriver() { finish(); }

void QMGStreamerAVPlayerDriver::start() {
    pipeline_ = QMGStreamerPipeline::pipelineWithURI(url_, options_, this);
    std::weak_ptr<QMGStreamerAVPlayerDriver> weakSelf = selfAs<QMGStreamerAVPlayerDriver>();
    player_->addObserver(this, "rate", NSKeyValueObservingOptionNew, nullptr);
    QMNotificationCenter::defaultCenter()->addObserver(this, AVPlayerItemTimeJumpedNotification, item_.get(),
                                                       [weakSelf](const QMNotification&) {
                                                           if (auto self = weakSelf.lock())
                                                               self->onTimeJumped();
                                                       });
    observing_ = true;
    startMicros_ = nowMicros();
    applyState();
}

void QMGStreamerAVPlayerDriver::stop() {
    if (!over_) {
        over_ = true;
        closeAccessLogEvent();
    }
    finish();
}

void QMGStreamerAVPlayerDriver::finish() {
    if (observing_) {
        observing_ = false;
        player_->removeObserver(this, "rate");
        QMNotificationCenter::defaultCenter()->removeObserver(this, AVPlayerItemTimeJumpedNotification);
    }
    if (pipeline_) {
        pipeline_->close();
        pipeline_.reset();
    }
}

void QMGStreamerAVPlayerDriver::observeValueForKeyPath(const std::string& keyPath, QMObject*,
                                                       const QMKeyValueChange&, void*) {
    if (keyPath == "rate") {
        applyState();
    }
}

void QMGStreamerAVPlayerDriver::applyState() {
    if (over_ || !pipeline_) {
        return;
    }
    pipeline_->requestState(ready_ && !buffering_ && player_->rate() > 0 ? GST_STATE_PLAYING
                                                                         : GST_STATE_PAUSED);
}

void QMGStreamerAVPlayerDriver::pipelinePrerolled() {
    prerolled_ = true;
    if (seeking_) {
        seekPrerolled_ = true;
        endSeekIfRefilled();
    }
    becomeReadyIfLoaded();
}

void QMGStreamerAVPlayerDriver::pipelineStateReached(GstState state) {
    if (state == GST_STATE_PLAYING && !started_) {
        started_ = true;
        openAccessLogEvent();
    }
}

void QMGStreamerAVPlayerDriver::pipelineBuffering(int percent) {
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
        buffering ? beginStall() : endStall();
    }
    applyState();
}

void QMGStreamerAVPlayerDriver::becomeReadyIfLoaded() {
    if (ready_ || !prerolled_ || buffering_) {
        return;
    }
    ready_ = true;
    readyMicros_ = nowMicros();
    player_->setStatus(AVPlayerStatusReadyToPlay);
    item_->setStatus(AVPlayerItemStatusReadyToPlay);
    const auto duration = pipeline_->durationSeconds();
    item_->setDuration(duration ? CMTimeMake(std::llround(*duration * 1000.0), 1000) : kCMTimeIndefinite);
    if (videoSize_) {
        item_->setPresentationSize(*videoSize_);
    }
    item_->setPlaybackBufferEmpty(false);
    item_->setPlaybackLikelyToKeepUp(true);
    applyState();
}

void QMGStreamerAVPlayerDriver::endSeekIfRefilled() {
    // A seek's flush empties the queues by design: refilling them is part of the seek.
    if (seekPrerolled_ && !buffering_) {
        seeking_ = false;
    }
}

void QMGStreamerAVPlayerDriver::beginStall() {
    item_->setPlaybackBufferFull(false);
    item_->setPlaybackLikelyToKeepUp(false);
    item_->setPlaybackBufferEmpty(true);
    if (currentEvent_) {
        currentEvent_->setNumberOfStalls(currentEvent_->numberOfStalls() + 1);
    }
    if (player_->rate() > 0) {
        item_->postPlaybackStalled();
    }
}

void QMGStreamerAVPlayerDriver::endStall() {
    item_->setPlaybackBufferEmpty(false);
    item_->setPlaybackLikelyToKeepUp(true);
}

void QMGStreamerAVPlayerDriver::pipelineVariantAnnounced(const std::string& uri, double bitrate,
                                                         double measuredBitrate) {
    if (log_.noteVariant(uri, bitrate, measuredBitrate) && started_) {
        closeAccessLogEvent();
        openAccessLogEvent();
    }
}

void QMGStreamerAVPlayerDriver::pipelineVideoSize(int width, int height) {
    if (over_) {
        return;
    }
    videoSize_ = CGSizeMake(width, height);
    if (ready_) {
        item_->setPresentationSize(*videoSize_);
    }
}

void QMGStreamerAVPlayerDriver::openAccessLogEvent() {
    auto event = std::make_shared<AVPlayerItemAccessLogEvent>();
    const bool first = !item_->accessLog();
    log_.fillAccessLogEvent(*event, CMTimeGetSeconds(item_->currentTime()));
    event->setPlaybackType(CMTIME_IS_INDEFINITE(item_->duration()) ? "LIVE"
                           : log_.isStreaming()                    ? "VOD"
                                                                   : "FILE");
    event->setStartupTime(first ? static_cast<double>(readyMicros_ - startMicros_) / 1e6 : -1.0);
    event->setSwitchBitrate(first ? -1.0 : log_.measuredBitrate());
    currentEvent_ = event;
    refreshTransfers();
    item_->addAccessLogEvent(std::move(event));
}

void QMGStreamerAVPlayerDriver::pipelineDownloaded(int64_t bytes, int64_t mediaRequests) {
    log_.noteDownloaded(bytes, mediaRequests);
    refreshTransfers();
}

void QMGStreamerAVPlayerDriver::refreshTransfers() {
    if (!currentEvent_) {
        return;
    }
    log_.updateTransfers(*currentEvent_);
    currentEvent_->setNumberOfMediaRequests(static_cast<long>(log_.mediaRequestsOfEntry()));
}

void QMGStreamerAVPlayerDriver::closeAccessLogEvent() {
    if (currentEvent_) {
        log_.closeAccessLogEvent(*currentEvent_, CMTimeGetSeconds(item_->currentTime()));
        currentEvent_->setNumberOfMediaRequests(static_cast<long>(log_.mediaRequestsOfEntry()));
    }
}

void QMGStreamerAVPlayerDriver::logError(long statusCode, const std::string& comment) {
    auto event = std::make_shared<AVPlayerItemErrorLogEvent>();
    log_.fillErrorLogEvent(*event, statusCode, comment);
    item_->addErrorLogEvent(std::move(event));
}

void QMGStreamerAVPlayerDriver::pipelineHTTPWarning(const QMGStreamerProblem& problem) {
    logError(problem.httpStatus(), problem.comment());
}

void QMGStreamerAVPlayerDriver::pipelineError(const QMGStreamerProblem& problem) {
    const long code = problem.platformErrorCode();
    logError(problem.logStatusCode(), problem.comment());
    over_ = true;
    closeAccessLogEvent();
    auto error = QMError::errorWithDomain(
        AVFoundationErrorDomain, code,
        problem.message().empty() ? "The operation could not be completed" : problem.message());
    item_->setError(error);
    item_->setStatus(AVPlayerItemStatusFailed);
    if (started_) {
        item_->postFailedToPlayToEndTime(error);
    }
    player_->setRate(0.0f);
    finish();
}

void QMGStreamerAVPlayerDriver::pipelineEndOfStream() {
    over_ = true;
    closeAccessLogEvent();
    // The rate is zero by the time the end is announced, so that observers see a finished player.
    player_->setRate(0.0f);
    item_->postDidPlayToEndTime();
    finish();
}

void QMGStreamerAVPlayerDriver::onTimeJumped() {
    if (!over_ && pipeline_) {
        seeking_ = true;
        seekPrerolled_ = false;
        pipeline_->seekTo(CMTimeGetSeconds(item_->currentTime()));
    }
}

}  // namespace veyrakit
