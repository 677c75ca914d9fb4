#pragma once
#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "veyrakit/gstreamer/QMGStreamerPipelineListener.h"
#include "veyrakit/platform/QMExport.h"

namespace veyrakit {

class QMMediaAccessLogEvent;
class QMMediaErrorLogEvent;

// What both drivers write into their players' access and error logs for one medium: the variant
// shown (or the medium's own URL), the server, the bitrates, and what was downloaded while an
// entry was current. The drivers add what only their model's entries carry.
class VEYRAKIT_EXPORT QMGStreamerLogEntries {
  public:
    // The domain the platform's media stack logs loading failures under.
    static constexpr const char* kErrorDomain = "CoreMediaErrorDomain";

    explicit QMGStreamerLogEntries(std::string url);

    // The variant shown from now on.
    void noteVariant(const std::string& uri, double bitrate);
    std::string variantShown() const { return variantURI_.value_or(""); }
    bool isStreaming() const;
    // Whether an access-log entry was opened before.
    bool hasOpenedEntry() const { return entryOpened_; }

    // A new entry for the variant shown, opened at `startOffset` seconds of media now. It counts
    // the media downloaded from here on; the first one counts from the start of loading.
    void fillAccessLogEvent(QMMediaAccessLogEvent& event, double startOffset);
    // The pipeline's download figures, as last announced.
    void noteDownloaded(const QMGStreamerDownloads& downloads);
    // The figures of `event`, the entry opened last: its bytes and the bitrate they arrived at.
    QMGStreamerTransfers updateTransfers(QMMediaAccessLogEvent& event) const;
    // Closes `event` at `playhead` seconds of media: its transfers so far and the time watched.
    // It also takes what was downloaded of variants that were never shown (the demuxer tried them
    // and moved on), other than `next`, the variant shown from now on (none: the end), so that
    // every byte downloaded is in some entry.
    QMGStreamerTransfers closeAccessLogEvent(QMMediaAccessLogEvent& event, double playhead,
                                             const std::optional<std::string>& next = std::nullopt);
    // What the entry opened last counts: its variant's downloads since that variant's previous
    // entry closed (a variant's fragments are downloaded before they are shown).
    QMGStreamerTransfers transfersOfEntry() const;
    // The bitrate everything downloaded so far arrived at, or -1 before anything took time.
    double observedBitrate() const;
    // An entry for a failed download or a failure, now.
    void fillErrorLogEvent(QMMediaErrorLogEvent& event, long statusCode, const std::string& comment,
                           const std::string& domain = kErrorDomain) const;

  private:
    static double bitrateOf(int64_t bytes, double seconds);

    std::string url_;
    std::optional<std::string> variantURI_;
    double variantBitrate_ = -1.0;
    bool entryOpened_ = false;
    QMGStreamerDownloads downloads_;
    // Each variant's downloads that earlier entries counted.
    std::map<std::string, QMGStreamerTransfers> counted_;
};

}  // namespace veyrakit
