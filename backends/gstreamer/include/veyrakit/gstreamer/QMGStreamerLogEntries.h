#pragma once
#include <cstdint>
#include <optional>
#include <string>

#include "veyrakit/platform/QMExport.h"
namespace veyrakit {

class QMMediaAccessLogEvent;
class QMMediaErrorLogEvent;

// What both drivers write into their players' access and error logs for one medium: the variant
// the HLS demuxer announced last (or the medium's own URL), the server, the bitrates. The drivers
// add what only their model's entries carry.
class VEYRAKIT_EXPORT QMGStreamerLogEntries {
  public:
    // The domain the platform's media stack logs loading failures under.
    static constexpr const char* kErrorDomain = "CoreMediaErrorDomain";

    explicit QMGStreamerLogEntries(std::string url);

    // Returns whether `uri` is another variant than the one announced before.
    bool noteVariant(const std::string& uri, double bitrate, double measuredBitrate);
    bool isStreaming() const;
    // Whether an access-log entry was opened before.
    bool hasOpenedEntry() const { return entryOpened_; }

    // A new entry for the variant playing, opened at `startOffset` seconds of media now. It counts
    // the media downloaded from here on; the first one counts from the start of loading.
    void fillAccessLogEvent(QMMediaAccessLogEvent& event, double startOffset);
    // The pipeline's download counters, as last announced.
    void noteDownloaded(int64_t bytes, int64_t mediaRequests);
    // The bytes downloaded while `event`, the entry opened last, was current.
    void updateTransfers(QMMediaAccessLogEvent& event) const;
    // Closes `event` at `playhead` seconds of media: its transfers so far and the time watched.
    void closeAccessLogEvent(QMMediaAccessLogEvent& event, double playhead) const;
    int64_t mediaRequestsOfEntry() const { return requests_ - requestsBase_; }
    // An entry for a failed download or a failure, now.
    void fillErrorLogEvent(QMMediaErrorLogEvent& event, long statusCode, const std::string& comment) const;
    double measuredBitrate() const { return measuredBitrate_; }

  private:
    std::string url_;
    std::optional<std::string> variantURI_;
    double variantBitrate_ = -1.0;
    double measuredBitrate_ = -1.0;
    bool entryOpened_ = false;
    int64_t bytes_ = 0;
    int64_t requests_ = 0;
    int64_t bytesBase_ = 0;
    int64_t requestsBase_ = 0;
};

}  // namespace veyrakit
