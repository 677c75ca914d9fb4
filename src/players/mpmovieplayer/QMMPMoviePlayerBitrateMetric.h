#pragma once
#include <cstdint>
#include <optional>

#include "platform/QMJSON.h"
#include "players/common/QMPlayerBitrateMetric.h"
#include "players/mpmovieplayer/QMMPMoviePlayerControllerVeyraPlugin.h"

namespace veyrakit {

// The movie player's indicated bitrate, read from its own access log when a report is made. The
// movie player announces no new log entry, so a change of any player's load state stands for a
// switch.
class QMMPMoviePlayerBitrateMetric : public QMPlayerBitrateMetric<QMMPMoviePlayerControllerVeyraPlugin> {
  public:
    QMMPMoviePlayerBitrateMetric();

    // Nothing while the access log is empty; else {"currentBitRate": the newest entry's indicated
    // bitrate}, whatever its sign.
    std::optional<QMJSON> calculateMetric() override;
    // Writes a console line before sending a held-back report.
    void onReporterReady() override;
    void onBitrateSwitch(const QMNotification& notification) override;

  private:
    // The newest access-log entry's indicated bitrate; nothing while the log is empty.
    std::optional<int64_t> newestIndicatedBitrate() const;
};

}  // namespace veyrakit
