#include "soak/QMSoakRun.h"

#include <malloc.h>
#include <stdlib.h>

#include <algorithm>
#include <filesystem>

#include "demo/QMDemoPlayback.h"
#include "platform/QMConsole.h"
#include "platform/QMURLSession.h"
#include "platform/QMUserDefaults.h"
#include "platform/UIDevice.h"
#include "simulator/QMScenarioParser.h"

namespace veyrakit {

namespace {

constexpr int64_t kHourMillis = 3'600'000;
// A playback that has not ended after this long has hung.
constexpr int64_t kPlaybackLimitMillis = 30 * 60'000;
// How long the loop may take after a playback's tear-down to deliver what is still on its way.
constexpr int64_t kSettleMillis = 60'000;

int64_t heapInUse() { return static_cast<int64_t>(mallinfo2().uordblks); }

}  // namespace

int64_t QMSoakRun::Result::heapGrowthAfterFirstHour() const {
    int64_t growth = 0;
    for (std::size_t i = 1; i < hours.size(); ++i) {
        growth = std::max(growth, hours[i].heapBytes - hours[0].heapBytes);
    }
    return growth;
}

QMSoakRun::QMSoakRun(Options options) : options_(std::move(options)), server_(options_.seed) {}

QMSoakRun::Result QMSoakRun::run() {
    char pattern[] = "/tmp/veyrakit-soak-XXXXXX";
    const std::string dir = mkdtemp(pattern);
    setenv("VEYRAKIT_DEFAULTS_PATH", (dir + "/defaults.json").c_str(), 1);
    setenv("VEYRAKIT_DOCUMENTS_DIR", (dir + "/Documents").c_str(), 1);
    QMUserDefaults::resetStandardUserDefaults();
    UIDevice::overrideFacts("iPhone", "iOS", "17.0");
    // Hours of the SDK's log lines would only fill the screen.
    QMConsole::setSink([](const std::string&) {});
    baseline_ = QMLeftovers::processWide();

    loop_ = std::make_shared<QMVirtualRunLoop>();
    QMRunLoop::setMainRunLoop(loop_);
    auto& stubs = QMURLStubRegistry::shared();
    stubs.enable();
    server_.install(stubs);
    loop_->setCallbackObserver([this](int64_t micros) { observeCallback(micros); });

    const int64_t start = loop_->nowMillis();
    int hour = 0;
    for (int64_t index = 0; hour < options_.hours; ++index) {
        playOnce(index);
        while (hour < options_.hours && loop_->nowMillis() - start >= (hour + 1) * kHourMillis) {
            closeHour(++hour);
        }
    }

    loop_->setCallbackObserver(nullptr);
    stubs.disable();
    QMRunLoop::setMainRunLoop(nullptr);
    loop_.reset();
    QMConsole::setSink(nullptr);
    UIDevice::clearOverride();
    QMUserDefaults::resetStandardUserDefaults();
    std::error_code ignored;
    std::filesystem::remove_all(dir, ignored);
    result_.faults = server_.faults();
    result_.reports = ledger_.reports();
    result_.retransmissions = ledger_.retransmissions();
    result_.violations = ledger_.violations();
    return result_;
}

void QMSoakRun::playOnce(int64_t index) {
    const bool movie =
        options_.players == Players::MPMoviePlayer || (options_.players == Players::Both && index % 2 == 1);
    const auto scenario = QMScenarioParser::parseFile(
        options_.scenarioDir + (movie ? "/mpmovieplayer.scenario" : "/vod-default.scenario"));
    {
        QMDemoPlayback playback(scenario, "http://soak.veyrakit.invalid");
        playback.start();
        const int64_t started = loop_->nowMillis();
        while (!playback.isOver() && loop_->nowMillis() - started < kPlaybackLimitMillis) {
            loop_->advanceBy(1000);
        }
        if (!playback.isOver()) {
            result_.violations.push_back("playback " + std::to_string(index) + " did not end");
        }
        playback.finish();
    }
    ++result_.playbacks;
    checkLeftovers();
    auto& stubs = QMURLStubRegistry::shared();
    for (const auto& request : stubs.requests()) {
        ledger_.record(request);
        const bool toServer =
            request.url.ends_with("/player/report") || request.url.ends_with("/player/init");
        result_.diagnosticPosts += toServer || request.url.ends_with(".m3u8") ? 0 : 1;
    }
    stubs.clearRequests();
    ledger_.endPlayback();
}

void QMSoakRun::checkLeftovers() {
    // What was on its way when the playback ended is delivered first.
    const int64_t settled = loop_->nowMillis();
    while ((loop_->taskCount() > 0 || loop_->transferCount() > 0) &&
           loop_->nowMillis() - settled < kSettleMillis) {
        QMURLSession::sharedSession()->waitForIdle();
        loop_->advanceBy(100);
    }
    const QMLeftovers left = QMLeftovers::inLoop(*loop_) + QMLeftovers::processWideSince(baseline_);
    if (!(left == QMLeftovers{})) {
        if (result_.playbacksWithLeftovers++ == 0) {
            result_.firstLeftovers = left.description();
        }
    }
}

void QMSoakRun::observeCallback(int64_t micros) {
    ++callbacks_;
    maxMicros_ = std::max(maxMicros_, micros);
    ++histogram_[static_cast<std::size_t>(std::clamp<int64_t>(micros, 0, kBuckets - 1))];
}

void QMSoakRun::closeHour(int hour) {
    Hour figures{.hour = hour,
                 .playbacks = result_.playbacks,
                 .reports = ledger_.reports(),
                 .heapBytes = heapInUse(),
                 .callbacks = callbacks_,
                 .maxMicros = maxMicros_};
    // The 99th percentile: the shortest duration that at least 99 % of the hour's callbacks took no longer
    // than.
    const int64_t within = (callbacks_ * 99 + 99) / 100;
    int64_t counted = 0;
    for (std::size_t micros = 0; micros < kBuckets; ++micros) {
        counted += histogram_[micros];
        if (counted >= within) {
            figures.p99Micros = static_cast<int64_t>(micros);
            break;
        }
    }
    result_.hours.push_back(figures);
    std::fill(histogram_.begin(), histogram_.end(), 0);
    callbacks_ = 0;
    maxMicros_ = 0;
}

}  // namespace veyrakit
