#include "contract/QMGStreamerContractDriver.h"

#include <stdexcept>

#include "support/QMDefaultPortGuard.h"
#include "veyrakit/platform/QMURL.h"
#include "veyrakit/platform/avfoundation/CMTime.h"

namespace veyrakit {

namespace {

// One rung of the ladder, played without its master playlist: no variant switch on loopback.
constexpr const char* kVariant = "v1";
// The real loop runs on a little after the end, so that a change made after it would show.
constexpr int64_t kAfterTheEndMillis = 300;

}  // namespace

QMGStreamerContractDriver::~QMGStreamerContractDriver() { tearDown(); }

void QMGStreamerContractDriver::tearDown() {
    if (avDriver_) avDriver_->stop();
    if (mpMoviePlayerDriver_) mpMoviePlayerDriver_->stop();
    avDriver_.reset();
    mpMoviePlayerDriver_.reset();
    avPlayer_.reset();
    mpMoviePlayer_.reset();
    server_.reset();
    appEvents_.clear();
    stallAt_.reset();
    recoverAt_.reset();
    fails_ = false;
    if (virtualLoop_) {
        // Messages the pipeline posted and nobody ran go with the real loop.
        QMRunLoop::setMainRunLoop(virtualLoop_);
        virtualLoop_.reset();
        realLoop_.reset();
    }
}

void QMGStreamerContractDriver::load(const Media& media) {
    if (media.live || media.rateDropsOnStall) {
        throw std::invalid_argument("a real pipeline plays neither live media nor the older stall here");
    }
    tearDown();
    media_ = media;
    virtualLoop_ = QMRunLoop::mainRunLoop();
    realLoop_ = QMDefaultPortGuard::guardedLoop();
    QMRunLoop::setMainRunLoop(realLoop_);
    // Eight seconds: a missing last segment would merely end the stream early.
    server_ = std::make_unique<QMTestMediaServer>(8);
    auto url = QMURL::URLWithString(server_->url(std::string(kVariant) + "/index.m3u8"));
    if (media.kind == Kind::AVPlayer) {
        avPlayer_ = AVPlayer::playerWithURL(url);
    } else {
        mpMoviePlayer_ = std::make_shared<MPMoviePlayerController>(url);
    }
}

void QMGStreamerContractDriver::schedule(int64_t atMillis, const std::string& event) {
    if (event == "ready" || event == "buffer-full") {
        return;
    }
    if (event == "stall") {
        stallAt_ = atMillis;
    } else if (event == "recover") {
        recoverAt_ = atMillis;
    } else if (event == "fail") {
        fails_ = true;
    } else if (event == "play" || event == "pause" || event.starts_with("seek ")) {
        appEvents_.emplace_back(atMillis, event);
    } else {
        throw std::invalid_argument("not an event a real pipeline can be made to produce: " + event);
    }
}

void QMGStreamerContractDriver::prepareMedia() {
    const std::string variant = std::string(kVariant) + "/";
    if (stallAt_ && recoverAt_) {
        // The segment is asked for at once, with four seconds of media in hand.
        server_->delay(variant + "seg2.ts", 4'000 + *recoverAt_ - *stallAt_);
    }
    if (fails_) {
        server_->remove(variant + "seg2.ts");
        server_->delay(variant + "seg2.ts", 500);
    }
}

void QMGStreamerContractDriver::start() {
    prepareMedia();
    if (avPlayer_) {
        avDriver_ = QMGStreamerAVPlayerDriver::driverWithPlayer(avPlayer_);
    } else {
        mpMoviePlayerDriver_ = QMGStreamerMPMoviePlayerDriver::driverWithPlayer(mpMoviePlayer_);
    }
    for (const auto& scheduled : appEvents_) {
        const std::string event = scheduled.second;
        if (scheduled.first == 0) {
            perform(event);
        } else {
            realLoop_->postAfter(scheduled.first * 1000, [this, event] { perform(event); });
        }
    }
}

void QMGStreamerContractDriver::perform(const std::string& event) {
    if (event.starts_with("seek ")) {
        const double seconds = std::stod(event.substr(5));
        if (avPlayer_) {
            avPlayer_->seekToTime(CMTimeMakeWithSeconds(seconds, 1000));
        } else {
            mpMoviePlayer_->setCurrentPlaybackTime(seconds);
        }
    } else if (event == "play") {
        avPlayer_ ? avPlayer_->play() : mpMoviePlayer_->play();
    } else {
        avPlayer_ ? avPlayer_->pause() : mpMoviePlayer_->pause();
    }
}

bool QMGStreamerContractDriver::isOver() const {
    return (avDriver_ && avDriver_->isOver()) || (mpMoviePlayerDriver_ && mpMoviePlayerDriver_->isOver());
}

void QMGStreamerContractDriver::runFor(int64_t millis) {
    realLoop_->runUntil([this] { return isOver(); }, millis);
    realLoop_->runUntil([] { return false; }, kAfterTheEndMillis);
}

}  // namespace veyrakit
