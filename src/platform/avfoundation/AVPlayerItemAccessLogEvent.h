#pragma once
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/QMDate.h"
#include "platform/QMObject.h"

// One entry of an item's access log: the figures of one uninterrupted stretch of playback on
// one variant. A fresh event holds the platform's "not available" values everywhere: -1 for
// numbers, nothing (nullopt / nullptr) for strings and dates. The last event of a log keeps
// being updated while it is current.
class VEYRAKIT_EXPORT AVPlayerItemAccessLogEvent : public QMObject {
public:
    AVPlayerItemAccessLogEvent();
    ~AVPlayerItemAccessLogEvent() override;

    long numberOfSegmentsDownloaded() const { return numberOfSegmentsDownloaded_; }
    void setNumberOfSegmentsDownloaded(long value) { numberOfSegmentsDownloaded_ = value; }
    long numberOfMediaRequests() const { return numberOfMediaRequests_; }
    void setNumberOfMediaRequests(long value) { numberOfMediaRequests_ = value; }
    // nullptr when not known
    const std::shared_ptr<QMDate>& playbackStartDate() const { return playbackStartDate_; }
    void setPlaybackStartDate(std::shared_ptr<QMDate> value) { playbackStartDate_ = std::move(value); }
    // nullopt when not known
    const std::optional<std::string>& URI() const { return URI_; }
    void setURI(std::optional<std::string> value) { URI_ = std::move(value); }
    const std::optional<std::string>& serverAddress() const { return serverAddress_; }
    void setServerAddress(std::optional<std::string> value) { serverAddress_ = std::move(value); }
    long numberOfServerAddressChanges() const { return numberOfServerAddressChanges_; }
    void setNumberOfServerAddressChanges(long value) { numberOfServerAddressChanges_ = value; }
    const std::optional<std::string>& playbackSessionID() const { return playbackSessionID_; }
    void setPlaybackSessionID(std::optional<std::string> value) { playbackSessionID_ = std::move(value); }
    // seconds
    double playbackStartOffset() const { return playbackStartOffset_; }
    void setPlaybackStartOffset(double value) { playbackStartOffset_ = value; }
    // seconds
    double segmentsDownloadedDuration() const { return segmentsDownloadedDuration_; }
    void setSegmentsDownloadedDuration(double value) { segmentsDownloadedDuration_ = value; }
    // seconds
    double durationWatched() const { return durationWatched_; }
    void setDurationWatched(double value) { durationWatched_ = value; }
    long numberOfStalls() const { return numberOfStalls_; }
    void setNumberOfStalls(long value) { numberOfStalls_ = value; }
    int64_t numberOfBytesTransferred() const { return numberOfBytesTransferred_; }
    void setNumberOfBytesTransferred(int64_t value) { numberOfBytesTransferred_ = value; }
    // seconds
    double transferDuration() const { return transferDuration_; }
    void setTransferDuration(double value) { transferDuration_ = value; }
    // bits per second
    double observedBitrate() const { return observedBitrate_; }
    void setObservedBitrate(double value) { observedBitrate_ = value; }
    // bits per second
    double indicatedBitrate() const { return indicatedBitrate_; }
    void setIndicatedBitrate(double value) { indicatedBitrate_ = value; }
    long numberOfDroppedVideoFrames() const { return numberOfDroppedVideoFrames_; }
    void setNumberOfDroppedVideoFrames(long value) { numberOfDroppedVideoFrames_ = value; }
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
    long numberOfSegmentsDownloaded_ = -1;
    long numberOfMediaRequests_ = -1;
    std::shared_ptr<QMDate> playbackStartDate_;
    std::optional<std::string> URI_;
    std::optional<std::string> serverAddress_;
    long numberOfServerAddressChanges_ = -1;
    std::optional<std::string> playbackSessionID_;
    double playbackStartOffset_ = -1.0;
    double segmentsDownloadedDuration_ = -1.0;
    double durationWatched_ = -1.0;
    long numberOfStalls_ = -1;
    int64_t numberOfBytesTransferred_ = -1;
    double transferDuration_ = -1.0;
    double observedBitrate_ = -1.0;
    double indicatedBitrate_ = -1.0;
    long numberOfDroppedVideoFrames_ = -1;
    double startupTime_ = -1.0;
    long downloadOverdue_ = -1;
    double observedMaxBitrate_ = -1.0;
    double observedMinBitrate_ = -1.0;
    double observedBitrateStandardDeviation_ = -1.0;
    std::optional<std::string> playbackType_;
    long mediaRequestsWWAN_ = -1;
    double switchBitrate_ = -1.0;
};
