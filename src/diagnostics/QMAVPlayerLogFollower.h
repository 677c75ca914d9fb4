#pragma once
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/QMJSON.h"
#include "veyrakit/platform/QMDate.h"
#include "veyrakit/platform/avfoundation/AVPlayerItemAccessLogEvent.h"
#include "veyrakit/platform/avfoundation/AVPlayerItemErrorLogEvent.h"

namespace veyrakit {

// Follows an AVPlayer item's access and error logs field by field. It keeps the last value seen of
// every field it follows (its shadows) and turns each difference into a change: the diagnostic
// event to record, when the field has one, and the line for the trace file. Both logs share the
// URI and server address shadows, so a URI that differs between them counts again in each.
//
// What counts as a difference is what the collectors were built against: strings and dates by
// equality, with a nil new value always different; numbers by inequality, so a NaN is always
// different; the log's "not available" (-1.0) ignored where it means nothing (startup time,
// bitrate standard deviation, switch bitrate) and a nil start date or playback type ignored.
class QMAVPlayerLogFollower {
  public:
    struct Change {
        std::optional<std::string> eventName;  // nothing: a trace file line only
        QMJSON info = QMJSON::object();
        std::string fileText;
    };

    QMAVPlayerLogFollower();

    // Every shadow back to its initial value (nil, 0 or 0.0).
    void resetProperties();

    // The changes from the newest entry of a log, in the order of its fields. No entry (nullptr)
    // reads as nil strings and dates and zero numbers.
    std::vector<Change> accessLogChanges(const AVPlayerItemAccessLogEvent* entry);
    std::vector<Change> errorLogChanges(const AVPlayerItemErrorLogEvent* entry);

    // Milliseconds since 1970 from the whole seconds of a date (so always ending in three zeros);
    // 0 for no date.
    static int64_t wholeSecondMillis(const std::shared_ptr<QMDate>& date);

  private:
    std::optional<std::string> uri;
    std::optional<std::string> address;
    int64_t addressChanges = 0;
    int64_t mediaRequestsWWAN = 0;
    double transferDuration = 0.0;
    int64_t bytesTransfered = 0;
    int64_t mediaRequests = 0;
    std::shared_ptr<QMDate> startDate;
    // Kept beside the others for the log's playback session id; reset only, never compared.
    std::optional<std::string> playerSessionId;
    double startOffset = 0.0;
    std::optional<std::string> playbackType;
    double startupTime = 0.0;
    double durationWatched = 0.0;
    int64_t droppedVideoFrames = 0;
    int64_t stalls = 0;
    double segmentsDownloadDuration = 0.0;
    int64_t downloadOverdue = 0;
    double indicatedBitrate = 0.0;
    double bitrate = 0.0;
    double minBitrate = 0.0;
    double maxBitrate = 0.0;
    double bitrateStdDev = 0.0;
    double switchBitrate = 0.0;
    std::shared_ptr<QMDate> errorDate;
    int64_t errorStatusCode = 0;
    std::optional<std::string> errorDomain;
    std::optional<std::string> errorComment;
};

}  // namespace veyrakit
