#pragma once
#include <cstdint>
#include <optional>

#include "platform/QMJSON.h"
#include "players/avplayer/QMAVPlayerVeyraPlugin.h"
#include "players/common/QMAdvertisementPause.h"
#include "players/common/QMPlayerBitrateMetric.h"

namespace veyrakit {

// The bitrate of an AVPlayer, switched by every new access-log entry of any item. The report
// forced by a switch carries the bitrate of the period that just ended, later ones the new
// bitrate.
class QMAVPlayerBitrateMetric : public QMPlayerBitrateMetric<QMAVPlayerVeyraPlugin>,
                                public QMAdvertisementPause {
  public:
    QMAVPlayerBitrateMetric();

    // Nothing while the current item's access log is empty; else {"currentBitRate": bits per
    // second} once the bitrate is known, and the reported value moves on to the current one.
    std::optional<QMJSON> calculateMetric() override;
    // A new access-log entry: takes the newest event's indicated bitrate.
    void onBitrateSwitch(const QMNotification& notification) override;

    int64_t currentBitRate() const { return currentBitRate_; }

  private:
    bool hasAccessLogEvents() const;

    int64_t currentBitRate_ = UNKNOWN_BITRATE;
};

}  // namespace veyrakit
