#include "veyrakit/gstreamer/QMGStreamerLogEntries.h"

#include <algorithm>
#include <utility>

#include "veyrakit/platform/QMDate.h"
#include "veyrakit/platform/QMURL.h"
#include "veyrakit/platform/avfoundation/QMMediaAccessLogEvent.h"
#include "veyrakit/platform/avfoundation/QMMediaErrorLogEvent.h"

namespace veyrakit {

QMGStreamerLogEntries::QMGStreamerLogEntries(std::string url) : url_(std::move(url)) {}

bool QMGStreamerLogEntries::noteVariant(const std::string& uri, double bitrate, double measuredBitrate) {
    const bool switched = variantURI_ != uri;
    variantURI_ = uri;
    variantBitrate_ = bitrate;
    measuredBitrate_ = measuredBitrate;
    return switched;
}

bool QMGStreamerLogEntries::isStreaming() const { return url_.find(".m3u8") != std::string::npos; }

void QMGStreamerLogEntries::fillAccessLogEvent(QMMediaAccessLogEvent& event, double startOffset) {
    if (entryOpened_) {
        // What the previous entry was closed with is its own; this one counts from there.
        bytesBase_ = bytes_;
        requestsBase_ = requests_;
    }
    entryOpened_ = true;
    event.setURI(variantURI_.value_or(url_));
    event.setServerAddress(QMURL::URLWithString(url_)->host());
    event.setPlaybackStartDate(QMDate::date());
    event.setPlaybackStartOffset(startOffset);
    event.setDurationWatched(0.0);
    event.setNumberOfStalls(0);
    event.setIndicatedBitrate(variantBitrate_);
    event.setObservedBitrate(measuredBitrate_);
    updateTransfers(event);
}

void QMGStreamerLogEntries::noteDownloaded(int64_t bytes, int64_t mediaRequests) {
    bytes_ = bytes;
    requests_ = mediaRequests;
}

void QMGStreamerLogEntries::updateTransfers(QMMediaAccessLogEvent& event) const {
    event.setNumberOfBytesTransferred(bytes_ - bytesBase_);
}

void QMGStreamerLogEntries::fillErrorLogEvent(QMMediaErrorLogEvent& event, long statusCode,
                                              const std::string& comment) const {
    event.setDate(QMDate::date());
    event.setURI(variantURI_.value_or(url_));
    event.setServerAddress(QMURL::URLWithString(url_)->host());
    event.setErrorStatusCode(statusCode);
    event.setErrorDomain(kErrorDomain);
    event.setErrorComment(comment);
}

void QMGStreamerLogEntries::closeAccessLogEvent(QMMediaAccessLogEvent& event, double playhead) const {
    updateTransfers(event);
    event.setDurationWatched(std::max(0.0, playhead - event.playbackStartOffset()));
}

}  // namespace veyrakit
