#include "simulator/QMPlayerSimulator.h"

#include <cmath>
#include <exception>

#include "platform/QMClock.h"
#include "platform/QMConsole.h"
#include "simulator/QMSimulatedAVPlayer.h"
#include "simulator/QMSimulatedMPMoviePlayer.h"

namespace veyrakit {

QMPlayerSimulator::QMPlayerSimulator(std::shared_ptr<QMScenario> scenario,
                                     std::shared_ptr<QMSimulatorHost> host)
    : scenario_(std::move(scenario)),
      host_(std::move(host)),
      stream_(std::make_shared<QMSimulatedStream>(scenario_)) {
    if (scenario_->playerKind() == QMScenarioPlayerKind::AVPlayer) {
        driver_ = std::make_shared<QMSimulatedAVPlayer>(scenario_, stream_);
    } else {
        driver_ = std::make_shared<QMSimulatedMPMoviePlayer>(scenario_, stream_);
    }
}

QMPlayerSimulator::~QMPlayerSimulator() {
    if (timer_) {
        timer_->invalidate();
    }
}

std::shared_ptr<QMPlayerSimulator> QMPlayerSimulator::simulatorWithScenario(
    std::shared_ptr<QMScenario> scenario, std::shared_ptr<QMSimulatorHost> host) {
    return std::make_shared<QMPlayerSimulator>(std::move(scenario), std::move(host));
}

std::shared_ptr<AVPlayer> QMPlayerSimulator::player() const {
    auto av = std::dynamic_pointer_cast<QMSimulatedAVPlayer>(driver_);
    return av ? av->player() : nullptr;
}

std::shared_ptr<AVPlayerItem> QMPlayerSimulator::playerItem() const {
    auto av = std::dynamic_pointer_cast<QMSimulatedAVPlayer>(driver_);
    return av ? av->item() : nullptr;
}

std::shared_ptr<MPMoviePlayerController> QMPlayerSimulator::mpMoviePlayer() const {
    auto driver = std::dynamic_pointer_cast<QMSimulatedMPMoviePlayer>(driver_);
    return driver ? driver->player() : nullptr;
}

void QMPlayerSimulator::start() {
    if (started_) {
        return;
    }
    started_ = running_ = true;
    startMicros_ = QMClock::currentTimeMicros();
    stream_->begin(startMicros_);
    // Steps at 0 run now rather than on the loop's next turn.
    fire();
}

void QMPlayerSimulator::stop() {
    running_ = false;
    if (timer_) {
        timer_->invalidate();
        timer_.reset();
    }
    host_.reset();
}

bool QMPlayerSimulator::isPlaybackOver() const { return driver_->isOver(); }

double QMPlayerSimulator::position() const { return driver_->position(); }

std::optional<int64_t> QMPlayerSimulator::endMicros(int64_t nowMicros) const {
    const auto seconds = driver_->secondsToEnd();
    if (!seconds) {
        return std::nullopt;
    }
    return nowMicros + static_cast<int64_t>(std::ceil(*seconds * 1e6));
}

void QMPlayerSimulator::scheduleNext() {
    if (timer_) {
        timer_->invalidate();
        timer_.reset();
    }
    if (!running_) {
        return;
    }
    const int64_t now = QMClock::currentTimeMicros();
    std::optional<int64_t> next = endMicros(now);
    if (nextStep_ < scenario_->steps().size()) {
        const int64_t stepMicros = startMicros_ + scenario_->steps()[nextStep_].atMillis * 1000;
        next = next ? std::min(*next, stepMicros) : stepMicros;
    }
    if (!next) {
        finishIfDone();
        return;
    }
    const int64_t delayMicros = std::max<int64_t>(*next - now, 0);
    std::weak_ptr<QMPlayerSimulator> weakSelf = selfAs<QMPlayerSimulator>();
    timer_ = QMTimer::scheduledTimerWithTimeInterval(
        static_cast<double>(delayMicros) / 1e6,
        [weakSelf](QMTimer&) {
            if (auto self = weakSelf.lock()) {
                self->fire();
            }
        },
        false);
}

void QMPlayerSimulator::fire() {
    timer_.reset();
    // The end of the media comes before a step due at the same moment; steps keep their order.
    while (running_) {
        const int64_t now = QMClock::currentTimeMicros();
        const auto end = endMicros(now);
        const bool stepDue = nextStep_ < scenario_->steps().size() &&
                             startMicros_ + scenario_->steps()[nextStep_].atMillis * 1000 <= now;
        if (end && *end <= now) {
            guarded("end of the media", 0, [this] { driver_->reachEnd(); });
        } else if (stepDue) {
            const QMScenarioStep& step = scenario_->steps()[nextStep_++];
            guarded(QMScenarioStep::keyword(step.action), step.line, [this, &step] {
                if (step.isHostStep(scenario_->playerKind())) {
                    callHost(step);
                } else {
                    driver_->perform(step);
                }
            });
        } else {
            break;
        }
    }
    scheduleNext();
}

void QMPlayerSimulator::guarded(const char* what, int line, const std::function<void()>& work) {
    // An observer's exception escaping a model change must not leave the simulation without its
    // next timer.
    try {
        work();
    } catch (const std::exception& e) {
        QMConsoleLog("QMPlayerSimulator: %@ (line %d) raised: %@", what, line, e.what());
    }
}

void QMPlayerSimulator::callHost(const QMScenarioStep& step) {
    if (!host_) {
        return;
    }
    switch (step.action) {
        case QMScenarioAction::AdsStart:
            host_->startAds();
            break;
        case QMScenarioAction::AdsStop:
            host_->stopAds();
            break;
        case QMScenarioAction::FullScreen:
            host_->sizeChangedToFullScreen();
            break;
        case QMScenarioAction::Window:
            host_->sizeChangedToWindow();
            break;
        case QMScenarioAction::StopPlayback:
            host_->stopPlayback();
            break;
        case QMScenarioAction::FaultReport:
            host_->viewerFaultReport(step.errorCode, step.playerVersion);
            break;
        default:
            break;
    }
}

void QMPlayerSimulator::finishIfDone() {
    if (finished_ || nextStep_ < scenario_->steps().size() || endMicros(QMClock::currentTimeMicros())) {
        return;
    }
    finished_ = true;
    running_ = false;
    // Released before the call, so that a host dropping the simulator does not meet itself.
    auto host = std::move(host_);
    if (host) {
        host->scenarioDidFinish();
    }
}

}  // namespace veyrakit
