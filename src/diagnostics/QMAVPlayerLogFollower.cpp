#include "diagnostics/QMAVPlayerLogFollower.h"

#include <utility>

#include "diagnostics/QMLogShadow.h"
#include "platform/QMFormat.h"

namespace veyrakit {

namespace {

using Change = QMAVPlayerLogFollower::Change;
using Changes = std::vector<Change>;

constexpr double kNotAvailable = -1.0;

// When the value differs from its shadow (and is not to be ignored), the shadow takes it and the
// change that `describe` makes of the stored value is added.
template <typename T, typename Describe>
void follow(T& shadow, T value, bool ignored, Changes& changes, Describe describe) {
    if (ignored || !QMLogShadow::differs(shadow, value)) {
        return;
    }
    shadow = std::move(value);
    changes.push_back(describe(shadow));
}

Change lineOnly(std::string fileText) { return Change{std::nullopt, QMJSON::object(), std::move(fileText)}; }

Change event(const char* name, const char* key, QMJSON value, std::string fileText) {
    QMJSON info = QMJSON::object();
    info[key] = std::move(value);
    return Change{name, std::move(info), std::move(fileText)};
}

// A nil string leaves its key out of the info rather than sending null.
Change stringEvent(const char* name, const char* key, const std::optional<std::string>& value,
                   std::string fileText) {
    return value ? event(name, key, *value, std::move(fileText))
                 : Change{name, QMJSON::object(), std::move(fileText)};
}

const AVPlayerItemAccessLogEvent& emptyAccessLogEntry() {
    static const auto entry = [] {
        auto zero = std::make_shared<AVPlayerItemAccessLogEvent>();
        zero->setNumberOfServerAddressChanges(0);
        zero->setMediaRequestsWWAN(0);
        zero->setTransferDuration(0.0);
        zero->setNumberOfBytesTransferred(0);
        zero->setNumberOfMediaRequests(0);
        zero->setPlaybackStartOffset(0.0);
        zero->setStartupTime(0.0);
        zero->setDurationWatched(0.0);
        zero->setNumberOfDroppedVideoFrames(0);
        zero->setNumberOfStalls(0);
        zero->setSegmentsDownloadedDuration(0.0);
        zero->setDownloadOverdue(0);
        zero->setIndicatedBitrate(0.0);
        zero->setObservedBitrate(0.0);
        zero->setObservedMinBitrate(0.0);
        zero->setObservedMaxBitrate(0.0);
        zero->setObservedBitrateStandardDeviation(0.0);
        zero->setSwitchBitrate(0.0);
        return zero;
    }();
    return *entry;
}

}  // namespace

QMAVPlayerLogFollower::QMAVPlayerLogFollower() = default;

void QMAVPlayerLogFollower::resetProperties() { *this = QMAVPlayerLogFollower(); }

int64_t QMAVPlayerLogFollower::wholeSecondMillis(const std::shared_ptr<QMDate>& date) {
    const auto seconds = static_cast<int64_t>(date ? date->timeIntervalSince1970() : 0.0);
    return static_cast<int64_t>(static_cast<double>(seconds) * 1000.0);
}

std::vector<Change> QMAVPlayerLogFollower::accessLogChanges(const AVPlayerItemAccessLogEvent* entry) {
    const auto& e = entry ? *entry : emptyAccessLogEntry();
    Changes out;
    follow(uri, e.URI(), false, out,
           [](const auto& v) { return lineOnly(QMFormat("Access log URI: %@\n", v)); });
    follow(address, e.serverAddress(), false, out,
           [](const auto& v) { return lineOnly(QMFormat("Access log server address: %@\n", v)); });
    follow(addressChanges, int64_t{e.numberOfServerAddressChanges()}, false, out, [](auto v) {
        return lineOnly(QMFormat("Access log number of server address changes: %li\n", v));
    });
    follow(mediaRequestsWWAN, int64_t{e.mediaRequestsWWAN()}, false, out, [](auto v) {
        return event("mediaRequestsWWAN", "requests", v,
                     QMFormat("Access log number of network read requests over WWAN: %li\n", v));
    });
    follow(transferDuration, e.transferDuration(), false, out, [](auto v) {
        return event("transferDuration", "duration", v, QMFormat("Access log transfer duration: %f\n", v));
    });
    follow(bytesTransfered, e.numberOfBytesTransferred(), false, out, [](auto v) {
        return event("bytesTransfered", "bytes", v,
                     QMFormat("Access log number of bytes transfered: %lli\n", v));
    });
    follow(mediaRequests, int64_t{e.numberOfMediaRequests()}, false, out, [](auto v) {
        return event("numberOfMediaRequests", "requests", v,
                     QMFormat("Access log number of media requests: %li\n", v));
    });
    follow(startDate, e.playbackStartDate(), !e.playbackStartDate(), out, [](const auto& v) {
        const int64_t millis = wholeSecondMillis(v);
        return event("playbackStartDate", "timestamp", millis,
                     QMFormat("Access log playback start date: %lli\n", millis));
    });
    follow(startOffset, e.playbackStartOffset(), false, out, [](auto v) {
        return event("playbackStartOffset", "offset", v,
                     QMFormat("Access log playback start offset: %f\n", v));
    });
    follow(playbackType, e.playbackType(), !e.playbackType(), out, [](const auto& v) {
        return stringEvent("playbackType", "type", v, QMFormat("Access log playback type: %@\n", v));
    });
    follow(startupTime, e.startupTime(), e.startupTime() == kNotAvailable, out, [](auto v) {
        return event("startupTime", "time", v, QMFormat("Access log startup time: %f\n", v));
    });
    follow(durationWatched, e.durationWatched(), false, out, [](auto v) {
        return event("durationWatched", "duration", v, QMFormat("Access log duration watched: %f\n", v));
    });
    follow(droppedVideoFrames, int64_t{e.numberOfDroppedVideoFrames()}, false, out, [](auto v) {
        return event("numberOfDroppedVideoFrames", "frames", v,
                     QMFormat("Access log number of dropped video frames: %li\n", v));
    });
    follow(stalls, int64_t{e.numberOfStalls()}, false, out, [](auto v) {
        return event("numberOfStalls", "stalls", v, QMFormat("Access log number of stalls: %li\n", v));
    });
    follow(segmentsDownloadDuration, e.segmentsDownloadedDuration(), false, out, [](auto v) {
        return event("segmentsDownloadedDuration", "duration", v,
                     QMFormat("Access log segments downloaded duration: %f\n", v));
    });
    follow(downloadOverdue, int64_t{e.downloadOverdue()}, false, out, [](auto v) {
        return event("downloadOverdue", "overdue", v, QMFormat("Access log download overdue: %li\n", v));
    });
    follow(indicatedBitrate, e.indicatedBitrate(), false, out, [](auto v) {
        return event("indicatedBitrate", "bitrate", v, QMFormat("Access log indicated bitrate: %f\n", v));
    });
    follow(bitrate, e.observedBitrate(), false, out, [](auto v) {
        return event("observedBitrate", "bitrate", v, QMFormat("Access log observed bitrate: %f\n", v));
    });
    follow(minBitrate, e.observedMinBitrate(), false, out, [](auto v) {
        return event("observedMinBitrate", "bitrate", v,
                     QMFormat("Access log observed min bitrate: %f\n", v));
    });
    follow(maxBitrate, e.observedMaxBitrate(), false, out, [](auto v) {
        return event("observedMaxBitrate", "bitrate", v,
                     QMFormat("Access log observed max bitrate: %f\n", v));
    });
    const double deviation = e.observedBitrateStandardDeviation();
    follow(bitrateStdDev, deviation, deviation == kNotAvailable, out, [](auto v) {
        return event("observedBitrateStandardDeviation", "standardDeviation", v,
                     QMFormat("Access log observed bitrate standard deviation: %f\n", v));
    });
    follow(switchBitrate, e.switchBitrate(), e.switchBitrate() == kNotAvailable, out, [](auto v) {
        return event("switchBitrate", "bitrate", v, QMFormat("Access log switch bitrate: %f\n", v));
    });
    return out;
}

std::vector<Change> QMAVPlayerLogFollower::errorLogChanges(const AVPlayerItemErrorLogEvent* entry) {
    static const AVPlayerItemErrorLogEvent emptyEntry;
    const auto& e = entry ? *entry : emptyEntry;
    Changes out;
    follow(uri, e.URI(), false, out,
           [](const auto& v) { return lineOnly(QMFormat("Error log URI: %@\n", v)); });
    follow(address, e.serverAddress(), false, out,
           [](const auto& v) { return lineOnly(QMFormat("Error log server address: %@\n", v)); });
    follow(errorDate, e.date(), false, out, [](const auto& v) {
        const int64_t millis = wholeSecondMillis(v);
        return event("errorDate", "timestamp", millis, QMFormat("Error log date: %lld\n", millis));
    });
    follow(errorStatusCode, int64_t{e.errorStatusCode()}, false, out, [](auto v) {
        return event("errorStatusCode", "statusCode", v, QMFormat("Error log status code: %ld\n", v));
    });
    follow(errorDomain, e.errorDomain(), false, out, [](const auto& v) {
        return stringEvent("errorDomain", "domain", v, QMFormat("Error log domain: %@\n", v));
    });
    follow(errorComment, e.errorComment(), false, out, [](const auto& v) {
        return stringEvent("errorComment", "comment", v, QMFormat("Error log comment: %@\n", v));
    });
    return out;
}

}  // namespace veyrakit
