#include "simulator/QMSimulatedStream.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>

#include "platform/QMClock.h"
#include "veyrakit/platform/QMURL.h"

namespace veyrakit {

namespace {

bool endsWithIgnoringCase(const std::string& text, const std::string& suffix) {
    if (text.size() < suffix.size()) {
        return false;
    }
    return std::equal(suffix.rbegin(), suffix.rend(), text.rbegin(), [](char a, char b) {
        return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
    });
}

}  // namespace

QMSimulatedStream::QMSimulatedStream(std::shared_ptr<QMScenario> scenario) : scenario_(std::move(scenario)) {
    serverAddress_ = scenario_->serverAddress();
    if (!serverAddress_ && scenario_->url()) {
        if (auto url = QMURL::URLWithString(*scenario_->url()); url && !url->host().empty()) {
            serverAddress_ = url->host();
        }
    }
    if (!scenario_->variants().empty()) {
        variant_ = scenario_->variants().front();
    }
}

void QMSimulatedStream::begin(int64_t startMicros) {
    startMicros_ = startMicros;
    if (scenario_->playbackSessionID()) {
        playbackSessionID_ = *scenario_->playbackSessionID();
    } else {
        // Shaped like every identifier of the access log (a UUID), and the same for the same start
        // time, so that runs compare.
        char buffer[64];
        std::snprintf(buffer, sizeof buffer, "00000000-0000-4000-8000-%012llX",
                      static_cast<unsigned long long>(startMicros_ / 1000) & 0xFFFFFFFFFFFFull);
        playbackSessionID_ = buffer;
    }
}

void QMSimulatedStream::selectVariant(int64_t bitrate, std::optional<double> observedBitrate) {
    if (const auto* variant = scenario_->variantWithBitrate(bitrate)) {
        variant_ = *variant;
        observedBitrate_ = observedBitrate;
    }
}

CGSize QMSimulatedStream::presentationSize() const {
    if (variant_ && variant_->resolution) {
        return *variant_->resolution;
    }
    return scenario_->size();
}

void QMSimulatedStream::markReady() { readyMicros_ = QMClock::currentTimeMicros(); }

void QMSimulatedStream::openEvent(double position) {
    const bool first = eventCount_ == 0;
    ++eventCount_;
    Figures event;
    event.URI = variantURI();
    event.serverAddress = serverAddress_;
    event.playbackSessionID = playbackSessionID_;
    event.playbackType = scenario_->isLive() ? "LIVE" : (isStreaming() ? "VOD" : "FILE");
    event.playbackStartDate = QMDate::date();
    event.playbackStartOffset = position;
    if (first && readyMicros_) {
        event.startupTime = static_cast<double>(*readyMicros_ - startMicros_) / 1e6;
    }
    if (variant_) {
        event.indicatedBitrate = static_cast<double>(variant_->bitrate);
        event.observedBitrate = observedBitrate_.value_or(2.0 * event.indicatedBitrate);
        event.observedMinBitrate = 0.75 * event.observedBitrate;
        event.observedMaxBitrate = 1.25 * event.observedBitrate;
        if (!first) {
            event.switchBitrate = event.observedBitrate;
        }
    }
    event_ = event;
}

void QMSimulatedStream::addWatched(double mediaSeconds) {
    if (mediaSeconds > 0.0) {
        event_.durationWatched += mediaSeconds;
    }
}

void QMSimulatedStream::countStall() { ++event_.numberOfStalls; }

QMSimulatedStream::Figures QMSimulatedStream::figures() const {
    Figures figures = event_;
    const double segment = scenario_->segmentSeconds();
    // The segment being played has been fetched as well as every one already watched.
    figures.numberOfSegmentsDownloaded = static_cast<long>(std::floor(figures.durationWatched / segment)) + 1;
    figures.numberOfMediaRequests = figures.numberOfSegmentsDownloaded;
    figures.segmentsDownloadedDuration = static_cast<double>(figures.numberOfSegmentsDownloaded) * segment;
    const double bitrate = std::max(figures.indicatedBitrate, 0.0);
    figures.numberOfBytesTransferred = std::llround(bitrate / 8.0 * figures.segmentsDownloadedDuration);
    figures.transferDuration =
        figures.observedBitrate > 0.0
            ? static_cast<double>(figures.numberOfBytesTransferred) * 8.0 / figures.observedBitrate
            : 0.0;
    return figures;
}

void QMSimulatedStream::fillAccessLogEvent(QMMediaAccessLogEvent& event, const Figures& figures) {
    event.setNumberOfSegmentsDownloaded(figures.numberOfSegmentsDownloaded);
    event.setPlaybackStartDate(figures.playbackStartDate);
    event.setURI(figures.URI);
    event.setServerAddress(figures.serverAddress);
    event.setNumberOfServerAddressChanges(figures.numberOfServerAddressChanges);
    event.setPlaybackSessionID(figures.playbackSessionID);
    event.setPlaybackStartOffset(figures.playbackStartOffset);
    event.setSegmentsDownloadedDuration(figures.segmentsDownloadedDuration);
    event.setDurationWatched(figures.durationWatched);
    event.setNumberOfStalls(figures.numberOfStalls);
    event.setNumberOfBytesTransferred(figures.numberOfBytesTransferred);
    event.setObservedBitrate(figures.observedBitrate);
    event.setIndicatedBitrate(figures.indicatedBitrate);
    event.setNumberOfDroppedVideoFrames(figures.numberOfDroppedVideoFrames);
}

void QMSimulatedStream::fillErrorLogEvent(QMMediaErrorLogEvent& event, const QMScenarioStep& step) const {
    event.setDate(QMDate::date());
    event.setURI(variantURI());
    event.setServerAddress(serverAddress_);
    event.setPlaybackSessionID(playbackSessionID_);
    event.setErrorStatusCode(step.code);
    event.setErrorDomain(step.domain);
    event.setErrorComment(step.text);
}

std::optional<std::string> QMSimulatedStream::variantURI() const {
    if (variant_ && variant_->URI) {
        return variant_->URI;
    }
    if (!scenario_->url()) {
        return std::nullopt;
    }
    const std::string& url = *scenario_->url();
    if (!variant_) {
        return url;
    }
    // A sibling of the master playlist: .../master.m3u8 -> .../<bitrate>/index.m3u8
    const auto scheme = url.find("://");
    const auto slash = url.rfind('/');
    const std::string base =
        (slash == std::string::npos || (scheme != std::string::npos && slash < scheme + 3))
            ? url
            : url.substr(0, slash);
    return base + "/" + std::to_string(variant_->bitrate) + "/index.m3u8";
}

bool QMSimulatedStream::isStreaming() const {
    return scenario_->isLive() || (scenario_->url() && endsWithIgnoringCase(*scenario_->url(), ".m3u8"));
}

}  // namespace veyrakit
