#include "veyrakit/gstreamer/QMGStreamerAVPlayerDriver.h"

#include <cmath>
#include <stdexcept>
#include <utility>

#include "veyrakit/platform/QMError.h"
#include "veyrakit/platform/QMNotificationCenter.h"
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

}  // namespace

std::shared_ptr<QMGStreamerAVPlayerDriver> QMGStreamerAVPlayerDriver::driverWithPlayer(
    std::shared_ptr<AVPlayer> player, Options options) {
    const std::string url = assetURL(player);
    auto driver = std::make_shared<QMGStreamerAVPlayerDriver>(std::move(player), url);
    driver->follow(QMGStreamerPipeline::build(url, options));
    driver->observeModel();
    driver->applyState();
    return driver;
}

std::shared_ptr<QMGStreamerAVPlayerDriver> QMGStreamerAVPlayerDriver::driverWithPlayer(
    std::shared_ptr<AVPlayer> player) {
    return driverWithPlayer(std::move(player), Options{});
}

std::shared_ptr<QMGStreamerAVPlayerDriver> QMGStreamerAVPlayerDriver::driverFollowing(
    std::shared_ptr<QMGStreamerPipeline> pipeline, std::shared_ptr<AVPlayer> player) {
    const std::string url = assetURL(player);
    auto driver = std::make_shared<QMGStreamerAVPlayerDriver>(std::move(player), url);
    driver->follow(std::move(pipeline));
    return driver;
}

QMGStreamerAVPlayerDriver::QMGStreamerAVPlayerDriver(std::shared_ptr<AVPlayer> player, const std::string& url)
    : QMGStreamerDriver(url), player_(std::move(player)), item_(player_->currentItem()) {}

QMGStreamerAVPlayerDriver::~QMGStreamerAVPlayerDriver() { modelUnobserved(); }

void QMGStreamerAVPlayerDriver::observeModel() {
    std::weak_ptr<QMGStreamerAVPlayerDriver> weakSelf = selfAs<QMGStreamerAVPlayerDriver>();
    player_->addObserver(this, "rate", NSKeyValueObservingOptionNew, nullptr);
    QMNotificationCenter::defaultCenter()->addObserver(this, AVPlayerItemTimeJumpedNotification, item_.get(),
                                                       [weakSelf](const QMNotification&) {
                                                           if (auto self = weakSelf.lock())
                                                               self->onTimeJumped();
                                                       });
    observing_ = true;
}

void QMGStreamerAVPlayerDriver::modelUnobserved() {
    if (observing_) {
        observing_ = false;
        player_->removeObserver(this, "rate");
        QMNotificationCenter::defaultCenter()->removeObserver(this, AVPlayerItemTimeJumpedNotification);
    }
}

void QMGStreamerAVPlayerDriver::observeValueForKeyPath(const std::string& keyPath, QMObject*,
                                                       const QMKeyValueChange&, void*) {
    if (keyPath == "rate") {
        applyState();
    }
}

void QMGStreamerAVPlayerDriver::onTimeJumped() {
    if (!isOver()) {
        seekPipeline(CMTimeGetSeconds(item_->currentTime()));
    }
}

bool QMGStreamerAVPlayerDriver::modelWantsToPlay() const { return player_->rate() > 0; }

void QMGStreamerAVPlayerDriver::ownerPlays(float rate) {
    if (player_->rate() != rate) player_->setRate(rate);
}

void QMGStreamerAVPlayerDriver::ownerPauses() { player_->setRate(0.0f); }

void QMGStreamerAVPlayerDriver::ownerStops() { player_->setRate(0.0f); }

void QMGStreamerAVPlayerDriver::ownerSeeks(double position) {
    // Half a millisecond: the position the item already stands at is no jump.
    if (std::fabs(CMTimeGetSeconds(item_->currentTime()) - position) > 0.0005) {
        item_->seekToTime(CMTimeMakeWithSeconds(position, 1000));
    }
}

void QMGStreamerAVPlayerDriver::modelBecomesReady(const std::optional<double>& duration,
                                                  const std::optional<CGSize>& size) {
    player_->setStatus(AVPlayerStatusReadyToPlay);
    item_->setStatus(AVPlayerItemStatusReadyToPlay);
    item_->setDuration(duration ? CMTimeMake(std::llround(*duration * 1000.0), 1000) : kCMTimeIndefinite);
    if (size) {
        item_->setPresentationSize(*size);
    }
    item_->setPlaybackBufferEmpty(false);
    item_->setPlaybackLikelyToKeepUp(true);
}

void QMGStreamerAVPlayerDriver::modelStalls() {
    item_->setPlaybackBufferFull(false);
    item_->setPlaybackLikelyToKeepUp(false);
    item_->setPlaybackBufferEmpty(true);
    countStall();
    if (player_->rate() > 0) {
        item_->postPlaybackStalled();
    }
}

void QMGStreamerAVPlayerDriver::modelRecovers() {
    item_->setPlaybackBufferEmpty(false);
    item_->setPlaybackLikelyToKeepUp(true);
}

void QMGStreamerAVPlayerDriver::modelShowsPictureSize(CGSize size) { item_->setPresentationSize(size); }

void QMGStreamerAVPlayerDriver::modelLearnsDuration(double seconds) {
    if (CMTIME_IS_INDEFINITE(item_->duration()))
        item_->setDuration(CMTimeMake(std::llround(seconds * 1000.0), 1000));
}

std::shared_ptr<QMMediaAccessLogEvent> QMGStreamerAVPlayerDriver::modelOpensAccessLogEvent(bool) {
    auto event = std::make_shared<AVPlayerItemAccessLogEvent>();
    const bool first = !item_->accessLog();
    log().fillAccessLogEvent(*event, CMTimeGetSeconds(item_->currentTime()));
    event->setPlaybackType(CMTIME_IS_INDEFINITE(item_->duration()) ? "LIVE"
                           : log().isStreaming()                   ? "VOD"
                                                                   : "FILE");
    event->setStartupTime(first ? static_cast<double>(readyMicros() - startMicros()) / 1e6 : -1.0);
    event->setSwitchBitrate(first ? -1.0 : log().observedBitrate());
    modelCountsTransfers(*event, log().transfersOfEntry());
    item_->addAccessLogEvent(event);
    return event;
}

void QMGStreamerAVPlayerDriver::modelCountsTransfers(QMMediaAccessLogEvent& event,
                                                     const QMGStreamerTransfers& figures) {
    auto& entry = static_cast<AVPlayerItemAccessLogEvent&>(event);
    entry.setNumberOfMediaRequests(static_cast<long>(figures.requests));
    entry.setTransferDuration(figures.transferSeconds);
}

void QMGStreamerAVPlayerDriver::modelLogsError(long statusCode, const std::string& comment,
                                               const std::string& domain) {
    auto event = std::make_shared<AVPlayerItemErrorLogEvent>();
    log().fillErrorLogEvent(*event, statusCode, comment, domain);
    item_->addErrorLogEvent(std::move(event));
}

void QMGStreamerAVPlayerDriver::modelFails(const std::string& domain, long code,
                                           const std::string& description) {
    auto error = QMError::errorWithDomain(domain, code, description);
    item_->setError(error);
    item_->setStatus(AVPlayerItemStatusFailed);
    if (hasStarted()) {
        item_->postFailedToPlayToEndTime(error);
    }
    player_->setRate(0.0f);
}

void QMGStreamerAVPlayerDriver::modelEnds() {
    // The rate is zero by the time the end is announced, so that observers see a finished player.
    player_->setRate(0.0f);
    item_->postDidPlayToEndTime();
}

double QMGStreamerAVPlayerDriver::modelPlayhead() const { return CMTimeGetSeconds(item_->currentTime()); }

}  // namespace veyrakit
