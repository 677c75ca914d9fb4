#include "veyrakit/gstreamer/QMGStreamerLogEntries.h"

#include <algorithm>
#include <utility>

#include "veyrakit/platform/QMDate.h"
#include "veyrakit/platform/QMURL.h"
#include "veyrakit/platform/avfoundation/QMMediaAccessLogEvent.h"
#include "veyrakit/platform/avfoundation/QMMediaErrorLogEvent.h"

namespace veyrakit {

QMGStreamerLogEntries::QMGStreamerLogEntries(std::string url) : url_(std::move(url)) {}

void QMGStreamerLogEntries::noteVariant(const std::string& uri, double bitrate) {
    variantURI_ = uri;
    variantBitrate_ = bitrate;
}

bool QMGStreamerLogEntries::isStreaming() const { return url_.find(".m3u8") != std::string::npos; }

double QMGStreamerLogEntries::bitrateOf(int64_t bytes, double seconds) {
    // Under a millisecond the clock says nothing: a local file arrives at once.
    return seconds >= 0.001 ? static_cast<double>(bytes) * 8.0 / seconds : -1.0;
}

double QMGStreamerLogEntries::observedBitrate() const {
    return bitrateOf(downloads_.total.bytes, downloads_.total.transferSeconds);
}

QMGStreamerTransfers QMGStreamerLogEntries::transfersOfEntry() const {
    const std::string variant = variantURI_.value_or("");
    const auto found = downloads_.byVariant.find(variant);
    QMGStreamerTransfers figures =
        found == downloads_.byVariant.end() ? QMGStreamerTransfers{} : found->second;
    if (const auto counted = counted_.find(variant); counted != counted_.end()) {
        figures.bytes -= counted->second.bytes;
        figures.requests -= counted->second.requests;
        figures.transferSeconds -= counted->second.transferSeconds;
    }
    return figures;
}

void QMGStreamerLogEntries::fillAccessLogEvent(QMMediaAccessLogEvent& event, double startOffset) {
    entryOpened_ = true;
    event.setURI(variantURI_.value_or(url_));
    event.setServerAddress(QMURL::URLWithString(url_)->host());
    event.setPlaybackStartDate(QMDate::date());
    event.setPlaybackStartOffset(startOffset);
    event.setDurationWatched(0.0);
    event.setNumberOfStalls(0);
    event.setIndicatedBitrate(variantBitrate_);
    updateTransfers(event);
}

void QMGStreamerLogEntries::noteDownloaded(const QMGStreamerDownloads& downloads) { downloads_ = downloads; }

QMGStreamerTransfers QMGStreamerLogEntries::updateTransfers(QMMediaAccessLogEvent& event) const {
    const QMGStreamerTransfers figures = transfersOfEntry();
    event.setNumberOfBytesTransferred(figures.bytes);
    event.setObservedBitrate(bitrateOf(figures.bytes, figures.transferSeconds));
    return figures;
}

void QMGStreamerLogEntries::fillErrorLogEvent(QMMediaErrorLogEvent& event, long statusCode,
                                              const std::string& comment, const std::string& domain) const {
    event.setDate(QMDate::date());
    event.setURI(variantURI_.value_or(url_));
    event.setServerAddress(QMURL::URLWithString(url_)->host());
    event.setErrorStatusCode(statusCode);
    event.setErrorDomain(domain);
    event.setErrorComment(comment);
}

QMGStreamerTransfers QMGStreamerLogEntries::closeAccessLogEvent(QMMediaAccessLogEvent& event, double playhead,
                                                                const std::optional<std::string>& next) {
    const std::string variant = variantURI_.value_or("");
    QMGStreamerTransfers figures = transfersOfEntry();
    for (const auto& [other, downloaded] : downloads_.byVariant) {
        if (other != variant && other != next) {
            const QMGStreamerTransfers& counted = counted_[other];
            figures.bytes += downloaded.bytes - counted.bytes;
            figures.requests += downloaded.requests - counted.requests;
            figures.transferSeconds += downloaded.transferSeconds - counted.transferSeconds;
            counted_[other] = downloaded;
        }
    }
    if (const auto found = downloads_.byVariant.find(variant); found != downloads_.byVariant.end()) {
        counted_[variant] = found->second;
    }
    event.setNumberOfBytesTransferred(figures.bytes);
    event.setObservedBitrate(bitrateOf(figures.bytes, figures.transferSeconds));
    event.setDurationWatched(std::max(0.0, playhead - event.playbackStartOffset()));
    return figures;
}

}  // namespace veyrakit
