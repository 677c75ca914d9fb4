#include "QMGStreamerLogEntries.h"

#include <utility>

#include "platform/QMDate.h"
#include "platform/QMURL.h"
#include "platform/avfoundation/QMMediaAccessLogEvent.h"
#include "platform/avfoundation/QMMediaErrorLogEvent.h"

QMGStreamerLogEntries::QMGStreamerLogEntries(std::string url) : url_(std::move(url)) {}

bool QMGStreamerLogEntries::noteVariant(const std::string& uri, double bitrate, double measuredBitrate) {
    const bool switched = variantURI_ != uri;
    variantURI_ = uri;
    variantBitrate_ = bitrate;
    measuredBitrate_ = measuredBitrate;
    return switched;
}

bool QMGStreamerLogEntries::isStreaming() const { return url_.find(".m3u8") != std::string::npos; }

void QMGStreamerLogEntries::fillAccessLogEvent(QMMediaAccessLogEvent& event, double startOffset) const {
    event.setURI(variantURI_.value_or(url_));
    event.setServerAddress(QMURL::URLWithString(url_)->host());
    event.setPlaybackStartDate(QMDate::date());
    event.setPlaybackStartOffset(startOffset);
    event.setDurationWatched(0.0);
    event.setNumberOfStalls(0);
    event.setIndicatedBitrate(variantBitrate_);
    event.setObservedBitrate(measuredBitrate_);
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
