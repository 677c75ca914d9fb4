#include "players/mpmovieplayer/QMMPMoviePlayerBitrateMetric.h"

#include "core/QMVeyraPlugin.h"
#include "platform/QMConsole.h"
#include "reporting/QMPeriodicalReporter.h"
#include "reporting/QMReportType.h"
#include "veyrakit/platform/mediaplayer/MPMoviePlayerController.h"
#include "veyrakit/platform/mediaplayer/MPMoviePlayerNotifications.h"

namespace veyrakit {

QMMPMoviePlayerBitrateMetric::QMMPMoviePlayerBitrateMetric() {
    // Made before any shared owner exists: the handler calls in through the registration, which
    // the destructor removes.
    QMNotificationCenter::defaultCenter()->addObserver(
        this, MPMoviePlayerLoadStateDidChangeNotification, nullptr,
        [this](const QMNotification& notification) { onBitrateSwitch(notification); });
}

QMMPMoviePlayerBitrateMetric::~QMMPMoviePlayerBitrateMetric() {
    QMNotificationCenter::defaultCenter()->removeObserver(this, MPMoviePlayerLoadStateDidChangeNotification);
}

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
    sendOnDemandReport(*unsentAvailableBitratesReport_, "BR");
    unsentAvailableBitratesReport_.reset();
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
        lastBitRate_ = *bitrate;
    } else if (*bitrate != lastBitRate_) {
        lastBitRate_ = *bitrate;
    }
    if (!mustSendPulseImmediately_) {
        return;
    }
    if (auto reporter = plugin_ ? plugin_->periodicalReporter() : nullptr) {
        reporter->sendUnscheduledPeriodical(false);
    }
}

void QMMPMoviePlayerBitrateMetric::onAvailableBitratesReady(const QMJSON& bitrates) {
    makeAvailableBitratesOnDemandRequest(bitrates);
}

void QMMPMoviePlayerBitrateMetric::makeAvailableBitratesOnDemandRequest(const QMJSON& bitrates) {
    QMJSON report{{"type", QMReportType::AVAILABLE_BITRATES()}, {PROPERTY_AVAILABLE_BITRATES(), bitrates}};
    if (hasSessionId()) {
        sendOnDemandReport(report, "BR");
    } else {
        unsentAvailableBitratesReport_ = std::move(report);
    }
}

std::optional<int64_t> QMMPMoviePlayerBitrateMetric::newestIndicatedBitrate() const {
    const auto log = player_ ? player_->accessLog() : nullptr;
    if (!log || log->events().empty()) {
        return std::nullopt;
    }
    return truncatedBitrate(log->events().back()->indicatedBitrate());
}

}  // namespace veyrakit
