#include "simulator/QMSimulatedAVPlayer.h"

#include "veyrakit/platform/avfoundation/AVURLAsset.h"

namespace veyrakit {

namespace {

std::shared_ptr<AVAsset> assetFor(const QMScenario& scenario) {
    if (scenario.isURLAsset() && scenario.url()) {
        return AVURLAsset::URLAssetWithURL(QMURL::URLWithString(*scenario.url()));
    }
    return std::make_shared<AVAsset>();
}

}  // namespace

QMSimulatedAVPlayer::QMSimulatedAVPlayer(const std::shared_ptr<QMScenario>& scenario,
                                         std::shared_ptr<QMSimulatedStream> stream)
    : QMSimulatedPlayer(scenario, std::move(stream)),
      player_(AVPlayer::playerWithPlayerItem(AVPlayerItem::playerItemWithAsset(assetFor(*scenario)))),
      item_(player_->currentItem()) {}

QMSimulatedAVPlayer::~QMSimulatedAVPlayer() = default;

double QMSimulatedAVPlayer::position() const { return CMTimeGetSeconds(item_->currentTime()); }

bool QMSimulatedAVPlayer::isAdvancing() const {
    return player_->currentItem() == item_ && item_->isPlayheadMoving();
}

double QMSimulatedAVPlayer::playheadRate() const { return player_->rate(); }

void QMSimulatedAVPlayer::play() { player_->setRate(1.0f); }

void QMSimulatedAVPlayer::pause() { player_->setRate(0.0f); }

void QMSimulatedAVPlayer::changeRate(double rate) { player_->setRate(static_cast<float>(rate)); }

void QMSimulatedAVPlayer::becomeReady() {
    player_->setStatus(AVPlayerStatusReadyToPlay);
    item_->setStatus(AVPlayerItemStatusReadyToPlay);
    item_->setDuration(scenario()->isLive() ? kCMTimeIndefinite
                                            : CMTimeMake(scenario()->durationMillis(), 1000));
    item_->setPresentationSize(stream()->presentationSize());
    item_->setPlaybackBufferEmpty(false);
    item_->setPlaybackLikelyToKeepUp(true);
}

void QMSimulatedAVPlayer::fillBuffer() { item_->setPlaybackBufferFull(true); }

void QMSimulatedAVPlayer::seek(int64_t millis) { item_->seekToTime(CMTimeMake(millis, 1000)); }

void QMSimulatedAVPlayer::stall() {
    const bool wasPlaying = player_->rate() != 0.0f;
    if (ratesDropOnStall()) {
        // The older players' order: the rate drops before the buffer reports empty.
        player_->setRate(0.0f);
    }
    item_->setPlaybackBufferFull(false);
    item_->setPlaybackLikelyToKeepUp(false);
    item_->setPlaybackBufferEmpty(true);
    if (wasPlaying) {
        item_->postPlaybackStalled();
    }
}

void QMSimulatedAVPlayer::recover() {
    item_->setPlaybackBufferEmpty(false);
    item_->setPlaybackLikelyToKeepUp(true);
    if (ratesDropOnStall()) {
        player_->setRate(static_cast<float>(intendedRate()));
    }
}

bool QMSimulatedAVPlayer::ratesDropOnStall() const {
    return scenario()->stallBehaviour() == QMScenarioStallBehaviour::RateDrops;
}

void QMSimulatedAVPlayer::variantChanged() {
    if (isReady()) {
        item_->setPresentationSize(stream()->presentationSize());
    }
}

void QMSimulatedAVPlayer::serverError(const QMScenarioStep& step) {
    auto event = std::make_shared<AVPlayerItemErrorLogEvent>();
    stream()->fillErrorLogEvent(*event, step);
    item_->addErrorLogEvent(std::move(event));
}

void QMSimulatedAVPlayer::fail(const QMScenarioStep& step, const std::shared_ptr<QMError>& error) {
    if (step.failTarget == QMScenarioFailTarget::Player) {
        player_->setError(error);
        player_->setStatus(AVPlayerStatusFailed);
    } else {
        item_->setError(error);
        item_->setStatus(AVPlayerItemStatusFailed);
        if (hasStarted()) {
            item_->postFailedToPlayToEndTime(error);
        }
    }
    player_->setRate(0.0f);
}

void QMSimulatedAVPlayer::stop() { player_->setRate(0.0f); }

void QMSimulatedAVPlayer::endOfMedia() {
    // The player's default action at the end of its item is to pause, and it has paused by the
    // time the notification arrives: observers of the notification find the rate at 0.
    player_->setRate(0.0f);
    item_->postDidPlayToEndTime();
}

void QMSimulatedAVPlayer::addAccessLogEvent() {
    currentEvent_ = std::make_shared<AVPlayerItemAccessLogEvent>();
    refreshAccessLogEvent();
    item_->addAccessLogEvent(currentEvent_);
}

void QMSimulatedAVPlayer::refreshAccessLogEvent() {
    if (!currentEvent_) {
        return;
    }
    const QMSimulatedStream::Figures figures = stream()->figures();
    auto& event = *currentEvent_;
    QMSimulatedStream::fillAccessLogEvent(event, figures);
    event.setNumberOfMediaRequests(figures.numberOfMediaRequests);
    event.setTransferDuration(figures.transferDuration);
    event.setStartupTime(figures.startupTime);
    event.setDownloadOverdue(figures.downloadOverdue);
    event.setObservedMaxBitrate(figures.observedMaxBitrate);
    event.setObservedMinBitrate(figures.observedMinBitrate);
    event.setObservedBitrateStandardDeviation(figures.observedBitrateStandardDeviation);
    event.setPlaybackType(figures.playbackType);
    event.setMediaRequestsWWAN(figures.mediaRequestsWWAN);
    event.setSwitchBitrate(figures.switchBitrate);
}

}  // namespace veyrakit
