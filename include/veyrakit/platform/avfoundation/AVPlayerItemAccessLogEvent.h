#pragma once
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "veyrakit/platform/avfoundation/QMMediaAccessLogEvent.h"

namespace veyrakit {

// One entry of an item's access log: the figures of one uninterrupted stretch of playback on
// one variant (the common fields, and those only the AVPlayer item reports). A fresh event holds
// "not available" everywhere. The last event of a log keeps being updated while it is current.
class VEYRAKIT_EXPORT AVPlayerItemAccessLogEvent : public QMMediaAccessLogEvent {
  public:
    AVPlayerItemAccessLogEvent();
    ~AVPlayerItemAccessLogEvent() override;

    long numberOfMediaRequests() const { return numberOfMediaRequests_; }
    void setNumberOfMediaRequests(long value) { numberOfMediaRequests_ = value; }
    // seconds
    double transferDuration() const { return transferDuration_; }
    void setTransferDuration(double value) { transferDuration_ = value; }
    // seconds until the item was ready to play; -1.0 when not available
    double startupTime() const { return startupTime_; }
    void setStartupTime(double value) { startupTime_ = value; }
    long downloadOverdue() const { return downloadOverdue_; }
    void setDownloadOverdue(long value) { downloadOverdue_ = value; }
    double observedMaxBitrate() const { return observedMaxBitrate_; }
    void setObservedMaxBitrate(double value) { observedMaxBitrate_ = value; }
    double observedMinBitrate() const { return observedMinBitrate_; }
    void setObservedMinBitrate(double value) { observedMinBitrate_ = value; }
    // -1.0 when not available
    double observedBitrateStandardDeviation() const { return observedBitrateStandardDeviation_; }
    void setObservedBitrateStandardDeviation(double value) { observedBitrateStandardDeviation_ = value; }
    // "LIVE", "VOD" or "FILE"
    const std::optional<std::string>& playbackType() const { return playbackType_; }
    void setPlaybackType(std::optional<std::string> value) { playbackType_ = std::move(value); }
    long mediaRequestsWWAN() const { return mediaRequestsWWAN_; }
    void setMediaRequestsWWAN(long value) { mediaRequestsWWAN_ = value; }
    // -1.0 when not available (no switch)
    double switchBitrate() const { return switchBitrate_; }
    void setSwitchBitrate(double value) { switchBitrate_ = value; }

  private:
    long numberOfMediaRequests_ = -1;
    double transferDuration_ = -1.0;
    double startupTime_ = -1.0;
    long downloadOverdue_ = -1;
    double observedMaxBitrate_ = -1.0;
    double observedMinBitrate_ = -1.0;
    double observedBitrateStandardDeviation_ = -1.0;
    std::optional<std::string> playbackType_;
    long mediaRequestsWWAN_ = -1;
    double switchBitrate_ = -1.0;
};

}  // namespace veyrakit
