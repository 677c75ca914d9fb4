#include "simulator/QMSimulatedMPMoviePlayer.h"

namespace veyrakit {

QMSimulatedMPMoviePlayer::QMSimulatedMPMoviePlayer(const std::shared_ptr<QMScenario>& scenario,
                                                   std::shared_ptr<QMSimulatedStream> stream)
    : QMSimulatedPlayer(scenario, std::move(stream)),
      player_(std::make_shared<MPMoviePlayerController>(QMURL::URLWithString(scenario->url().value_or("")))) {
}

QMSimulatedMPMoviePlayer::~QMSimulatedMPMoviePlayer() = default;

double QMSimulatedMPMoviePlayer::position() const { return player_->currentPlaybackTime(); }

bool QMSimulatedMPMoviePlayer::isAdvancing() const { return player_->isPlayheadMoving(); }

double QMSimulatedMPMoviePlayer::playheadRate() const { return player_->currentPlaybackRate(); }

void QMSimulatedMPMoviePlayer::play() {
    player_->setPlaybackState(MPMoviePlaybackStatePlaying);
    // Asked to play before its content is ready, the movie player waits in a stalled load state.
    if (!isReady()) {
        player_->setLoadState(MPMovieLoadStateStalled);
    }
}

void QMSimulatedMPMoviePlayer::pause() { player_->setPlaybackState(MPMoviePlaybackStatePaused); }

void QMSimulatedMPMoviePlayer::changeRate(double rate) {
    if (rate == 0.0) {
        pause();
        return;
    }
    player_->setCurrentPlaybackRate(static_cast<float>(rate));
    play();
}

void QMSimulatedMPMoviePlayer::becomeReady() {
    player_->setMovieSourceType(stream()->isStreaming() ? MPMovieSourceTypeStreaming : MPMovieSourceTypeFile);
    player_->setMovieMediaTypes(
        static_cast<MPMovieMediaTypeMask>(MPMovieMediaTypeMaskVideo | MPMovieMediaTypeMaskAudio));
    if (!scenario()->isLive()) {
        player_->setDuration(static_cast<double>(scenario()->durationMillis()) / 1000.0);
    }
    player_->setNaturalSize(stream()->presentationSize());
    player_->setLoadState(MPMovieLoadStatePlayable);
    player_->setReadyForDisplay(true);
}

void QMSimulatedMPMoviePlayer::fillBuffer() {
    if (!isStalled()) {
        player_->setLoadState(
            static_cast<MPMovieLoadState>(MPMovieLoadStatePlayable | MPMovieLoadStatePlaythroughOK));
    }
}

void QMSimulatedMPMoviePlayer::seek(int64_t millis) {
    const MPMoviePlaybackState before = player_->playbackState();
    const double target = static_cast<double>(millis) / 1000.0;
    player_->setPlaybackState(target >= position() ? MPMoviePlaybackStateSeekingForward
                                                   : MPMoviePlaybackStateSeekingBackward);
    player_->setCurrentPlaybackTime(target);
    player_->setPlaybackState(before);
}

void QMSimulatedMPMoviePlayer::stall() { player_->setLoadState(MPMovieLoadStateStalled); }

void QMSimulatedMPMoviePlayer::recover() { player_->setLoadState(MPMovieLoadStatePlayable); }

void QMSimulatedMPMoviePlayer::variantChanged() {
    if (isReady()) {
        player_->setNaturalSize(stream()->presentationSize());
    }
}

void QMSimulatedMPMoviePlayer::serverError(const QMScenarioStep& step) {
    auto event = std::make_shared<MPMovieErrorLogEvent>();
    stream()->fillErrorLogEvent(*event, step);
    player_->addErrorLogEvent(std::move(event));
}

void QMSimulatedMPMoviePlayer::fail(const QMScenarioStep& step, const std::shared_ptr<QMError>& error) {
    player_->finishPlayback(MPMovieFinishReasonPlaybackError, error);
    player_->setPlaybackState(MPMoviePlaybackStateStopped);
}

void QMSimulatedMPMoviePlayer::stop() {
    player_->finishPlayback(MPMovieFinishReasonUserExited, nullptr);
    player_->setPlaybackState(MPMoviePlaybackStateStopped);
}

void QMSimulatedMPMoviePlayer::endOfMedia() {
    player_->finishPlayback(MPMovieFinishReasonPlaybackEnded, nullptr);
    player_->setPlaybackState(MPMoviePlaybackStateStopped);
}

void QMSimulatedMPMoviePlayer::performOwnStep(const QMScenarioStep& step) {
    switch (step.action) {
        case QMScenarioAction::FullScreen:
        case QMScenarioAction::Window:
            player_->setFullscreen(step.action == QMScenarioAction::FullScreen, true);
            break;
        case QMScenarioAction::AirPlay:
            player_->setAirPlayVideoActive(step.on);
            break;
        case QMScenarioAction::Scaling:
            player_->setScalingMode(static_cast<MPMovieScalingMode>(step.mode));
            break;
        default:
            break;
    }
}

void QMSimulatedMPMoviePlayer::addAccessLogEvent() {
    currentEvent_ = std::make_shared<MPMovieAccessLogEvent>();
    refreshAccessLogEvent();
    player_->addAccessLogEvent(currentEvent_);
}

void QMSimulatedMPMoviePlayer::refreshAccessLogEvent() {
    if (currentEvent_) {
        QMSimulatedStream::fillAccessLogEvent(*currentEvent_, stream()->figures());
    }
}

}  // namespace veyrakit
