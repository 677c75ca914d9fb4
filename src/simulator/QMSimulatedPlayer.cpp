#include "simulator/QMSimulatedPlayer.h"

#include <algorithm>

namespace veyrakit {

QMSimulatedPlayer::QMSimulatedPlayer(std::shared_ptr<QMScenario> scenario,
                                     std::shared_ptr<QMSimulatedStream> stream)
    : scenario_(std::move(scenario)), stream_(std::move(stream)) {}

QMSimulatedPlayer::~QMSimulatedPlayer() = default;

void QMSimulatedPlayer::perform(const QMScenarioStep& step) {
    if (over_) {
        return;
    }
    settle();
    switch (step.action) {
        case QMScenarioAction::Play:
            intendedRate_ = 1.0;
            play();
            break;
        case QMScenarioAction::Pause:
            intendedRate_ = 0.0;
            pause();
            break;
        case QMScenarioAction::Rate:
            intendedRate_ = step.rate;
            changeRate(step.rate);
            break;
        case QMScenarioAction::Ready:
            ready_ = true;
            stream_->markReady();
            becomeReady();
            break;
        case QMScenarioAction::BufferFull:
            fillBuffer();
            break;
        case QMScenarioAction::Seek:
            seek(step.millis);
            break;
        case QMScenarioAction::Stall:
            if (!stalled_) {
                stalled_ = true;
                if (started_) {
                    stream_->countStall();
                    refreshAccessLogEvent();
                }
                stall();
            }
            break;
        case QMScenarioAction::Recover:
            if (stalled_) {
                stalled_ = false;
                recover();
            }
            break;
        case QMScenarioAction::Bitrate:
            stream_->selectVariant(step.bitrate, step.observedBitrate);
            if (started_) {
                stream_->openEvent(position());
                addAccessLogEvent();
            }
            variantChanged();
            break;
        case QMScenarioAction::ServerError:
            serverError(step);
            break;
        case QMScenarioAction::Fail:
            over_ = true;
            fail(step, QMError::errorWithDomain(step.domain.value_or(""), step.code, step.text.value_or("")));
            break;
        case QMScenarioAction::Stop:
            over_ = true;
            stop();
            break;
        default:
            performOwnStep(step);
            break;
    }
    startIfPlaying();
    resync();
}

void QMSimulatedPlayer::performOwnStep(const QMScenarioStep& step) {}

void QMSimulatedPlayer::reachEnd() {
    if (over_) {
        return;
    }
    settle();
    over_ = true;
    endOfMedia();
    resync();
}

std::optional<double> QMSimulatedPlayer::secondsToEnd() const {
    if (over_ || scenario_->isLive() || !isAdvancing() || !(playheadRate() > 0.0)) {
        return std::nullopt;
    }
    const double remaining = static_cast<double>(scenario_->durationMillis()) / 1000.0 - position();
    // Below a microsecond the clamped playhead is at the end already.
    return remaining < 1e-6 ? 0.0 : remaining / playheadRate();
}

void QMSimulatedPlayer::settle() {
    const double now = position();
    if (wasAdvancing_) {
        stream_->addWatched(now - settledPosition_);
    }
    settledPosition_ = now;
    if (started_) {
        refreshAccessLogEvent();
    }
}

void QMSimulatedPlayer::resync() {
    settledPosition_ = position();
    wasAdvancing_ = !over_ && isAdvancing();
}

void QMSimulatedPlayer::startIfPlaying() {
    if (!started_ && !over_ && isAdvancing()) {
        started_ = true;
        stream_->openEvent(position());
        addAccessLogEvent();
    }
}

}  // namespace veyrakit
