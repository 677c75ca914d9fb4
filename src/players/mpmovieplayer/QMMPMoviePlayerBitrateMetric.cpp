#include "players/mpmovieplayer/QMMPMoviePlayerBitrateMetric.h"

#include "platform/QMConsole.h"
#include "veyrakit/platform/mediaplayer/MPMoviePlayerController.h"
#include "veyrakit/platform/mediaplayer/MPMoviePlayerNotifications.h"

namespace veyrakit {

QMMPMoviePlayerBitrateMetric::QMMPMoviePlayerBitrateMetric()
    : QMPlayerBitrateMetric(MPMoviePlayerLoadStateDidChangeNotification) {}

std::optional<QMJSON> QMMPMoviePlayerBitrateMetric::calculateMetric() {
    setMetric(std::nullopt);
    if (auto bitrate = newestIndicatedBitrate()) {
        setMetric(QMJSON{{PROPERTY_BIT_RATE(), *bitrate}});
    }
    return metric();
}

void QMMPMoviePlayerBitrateMetric::onReporterReady() {
    if (!unsentAvailableBitratesReport_) {
        return;
    }
    QMConsoleLog("Sending Bitrate report, session is %@, report tyep is %@", plugin_->sessionId(),
                 unsentAvailableBitratesReport_->value("type", std::string()));
    QMPlayerBitrateMetric::onReporterReady();
}

void QMMPMoviePlayerBitrateMetric::onBitrateSwitch(const QMNotification&) {
    mustSendPulseImmediately_ = true;
    auto bitrate = newestIndicatedBitrate();
    if (!bitrate) {
        return;
    }
    if (lastBitRate_ == UNKNOWN_BITRATE) {
        // The first entry only makes the bitrate known: no period has ended.
        mustSendPulseImmediately_ = false;
    }
    lastBitRate_ = *bitrate;
    sendPulseIfDue();
}

std::optional<int64_t> QMMPMoviePlayerBitrateMetric::newestIndicatedBitrate() const {
    const auto log = player_ ? player_->accessLog() : nullptr;
    if (!log || log->events().empty()) {
        return std::nullopt;
    }
    return truncatedBitrate(log->events().back()->indicatedBitrate());
}

}  // namespace veyrakit
