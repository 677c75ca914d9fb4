#include "contract/QMSimulatorContractDriver.h"

#include "platform/QMFormat.h"
#include "simulator/QMScenarioParser.h"
#include "veyrakit/platform/QMRunLoop.h"

namespace veyrakit {

void QMSimulatorContractDriver::load(const Media& media) {
    header_ = std::string("player ") + (media.kind == Kind::AVPlayer ? "avplayer" : "mpmovieplayer") +
              "\nurl https://media.example.invalid/contract/master.m3u8\n" +
              (media.live ? "duration live\n" : "duration 20\n") +
              "variant 800000 960x540\nvariant 1500000 1280x720\n" +
              (media.rateDropsOnStall ? "stall-behaviour rate-drops\n" : "");
    steps_.clear();
    remake();
}

std::shared_ptr<AVPlayer> QMSimulatorContractDriver::avPlayer() const { return simulator_->player(); }

std::shared_ptr<MPMoviePlayerController> QMSimulatorContractDriver::mpMoviePlayer() const {
    return simulator_->mpMoviePlayer();
}

void QMSimulatorContractDriver::schedule(int64_t atMillis, const std::string& event) {
    steps_ += QMFormat("at %lld.%03lld %@\n", static_cast<long long>(atMillis / 1000),
                       static_cast<long long>(atMillis % 1000), event);
    remake();
}

void QMSimulatorContractDriver::start() { simulator_->start(); }

void QMSimulatorContractDriver::runFor(int64_t millis) {
    // The simulator runs on the test's virtual main loop.
    std::dynamic_pointer_cast<QMVirtualRunLoop>(QMRunLoop::mainRunLoop())->advanceBy(millis);
}

void QMSimulatorContractDriver::remake() {
    // A scenario is read whole, so the models are made anew from every step written so far.
    simulator_ = QMPlayerSimulator::simulatorWithScenario(
        QMScenarioParser::parse(header_ + steps_, "contract"), nullptr);
}

}  // namespace veyrakit
