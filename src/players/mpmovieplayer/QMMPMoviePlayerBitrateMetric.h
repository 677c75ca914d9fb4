#pragma once
#include <cstdint>
#include <optional>

#include "platform/QMJSON.h"
#include "players/mpmovieplayer/QMMPMoviePlayerStatelessMetric.h"
#include "veyrakit/platform/QMNotificationCenter.h"

namespace veyrakit {

// The movie player's indicated bitrate, read from its own access log when a report is made. The
// movie player announces no new log entry, so a change of any player's load state stands for one:
// after the first, every such change forces an unscheduled report at once. Also the entry point
// for the list of available bitrates, sent once as an AVAILABLE_BITRATES report (held back until
// the session id is known).
class QMMPMoviePlayerBitrateMetric : public QMMPMoviePlayerStatelessMetric {
  public:
    // Bitrate not yet known.
    static constexpr int64_t UNKNOWN_BITRATE = -2;

    // Subscribes to load-state changes of any player; the subscription lasts as long as the
    // metric.
    QMMPMoviePlayerBitrateMetric();
    ~QMMPMoviePlayerBitrateMetric() override;

    // Nothing while the access log is empty; else {"currentBitRate": the newest entry's indicated
    // bitrate}, whatever its sign.
    std::optional<QMJSON> calculateMetric() override;

    void onReporterReady() override;
    void onBitrateSwitch(const QMNotification& notification);
    void onAvailableBitratesReady(const QMJSON& bitrates);
    void makeAvailableBitratesOnDemandRequest(const QMJSON& bitrates);

    int64_t lastBitRate() const { return lastBitRate_; }
    bool mustSendPulseImmediately() const { return mustSendPulseImmediately_; }
    const std::optional<QMJSON>& unsentAvailableBitratesReport() const {
        return unsentAvailableBitratesReport_;
    }

  private:
    // The newest access-log entry's indicated bitrate; nothing while the log is empty.
    std::optional<int64_t> newestIndicatedBitrate() const;

    int64_t lastBitRate_ = UNKNOWN_BITRATE;
    bool mustSendPulseImmediately_ = false;
    std::optional<QMJSON> unsentAvailableBitratesReport_;
};

}  // namespace veyrakit
