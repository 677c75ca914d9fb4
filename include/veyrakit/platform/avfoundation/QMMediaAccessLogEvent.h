#pragma once
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "veyrakit/platform/QMDate.h"
#include "veyrakit/platform/QMObject.h"

namespace veyrakit {

// The fields that the access-log events of both players have (the movie player's set; the
// AVPlayer item's events add more). A fresh event holds the platform's "not available" values:
// -1 for numbers, nothing (nullopt / nullptr) for strings and dates.
class VEYRAKIT_EXPORT QMMediaAccessLogEvent : public QMObject {
  public:
    QMMediaAccessLogEvent();
    ~QMMediaAccessLogEvent() override;

    long numberOfSegmentsDownloaded() const { return numberOfSegmentsDownloaded_; }
    void setNumberOfSegmentsDownloaded(long value) { numberOfSegmentsDownloaded_ = value; }
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
    // bits per second
    double observedBitrate() const { return observedBitrate_; }
    void setObservedBitrate(double value) { observedBitrate_ = value; }
    // bits per second
    double indicatedBitrate() const { return indicatedBitrate_; }
    void setIndicatedBitrate(double value) { indicatedBitrate_ = value; }
    long numberOfDroppedVideoFrames() const { return numberOfDroppedVideoFrames_; }
    void setNumberOfDroppedVideoFrames(long value) { numberOfDroppedVideoFrames_ = value; }

  private:
    long numberOfSegmentsDownloaded_ = -1;
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
    double observedBitrate_ = -1.0;
    double indicatedBitrate_ = -1.0;
    long numberOfDroppedVideoFrames_ = -1;
};

}  // namespace veyrakit
