#pragma once
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/QMJSON.h"
#include "players/avplayer/QMAVPlayerStatelessMetric.h"
#include "veyrakit/platform/QMNotificationCenter.h"

namespace veyrakit {

// The stream's indicated bitrate in each periodical report. Every new access-log entry after the
// first forces an unscheduled report at once, so that the server sees a period end at the switch;
// that report carries the bitrate of the period that just ended, later ones the new bitrate. Also
// the entry point for the list of available bitrates, sent once as an AVAILABLE_BITRATES report
// (held back until the session id is known).
class QMAVPlayerBitrateMetric : public QMAVPlayerStatelessMetric {
  public:
    // Bitrate not yet known.
    static constexpr int64_t UNKNOWN_BITRATE = -2;

    // Subscribes to new access-log entries of any item; the subscription lasts as long as the
    // metric.
    QMAVPlayerBitrateMetric();
    ~QMAVPlayerBitrateMetric() override;

    // Nothing while the current item's access log is empty; else {"currentBitRate": bits per
    // second} once the bitrate is known, and the reported value moves on to the current one.
    std::optional<QMJSON> calculateMetric() override;

    // Sends a held-back bitrates report.
    void onReporterReady() override;
    // A new access-log entry: takes the newest event's indicated bitrate.
    void onBitrateSwitch(const QMNotification& notification);
    // The stream's bitrates are known (an array, sent unchanged).
    void onAvailableBitratesReady(const QMJSON& bitrates);
    void makeAvailableBitratesOnDemandRequest(const QMJSON& bitrates);
    void pauseMetricCollection();
    void resumeMetricCollection();

    int64_t lastBitRate() const { return lastBitRate_; }
    int64_t currentBitRate() const { return currentBitRate_; }
    bool isActive() const { return isActive_; }
    bool mustSendPulseImmediately() const { return mustSendPulseImmediately_; }
    const std::optional<QMJSON>& unsentAvailableBitratesReport() const {
        return unsentAvailableBitratesReport_;
    }

  private:
    bool hasAccessLogEvents() const;

    int64_t lastBitRate_ = UNKNOWN_BITRATE;
    int64_t currentBitRate_ = UNKNOWN_BITRATE;
    bool isActive_ = true;
    bool mustSendPulseImmediately_ = false;
    std::optional<QMJSON> unsentAvailableBitratesReport_;
};

}  // namespace veyrakit
