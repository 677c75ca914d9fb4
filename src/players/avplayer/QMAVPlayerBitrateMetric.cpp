#include "players/avplayer/QMAVPlayerBitrateMetric.h"

#include "core/QMVeyraPlugin.h"
#include "reporting/QMPeriodicalReporter.h"
#include "reporting/QMReportType.h"
#include "veyrakit/platform/avfoundation/AVPlayer.h"
#include "veyrakit/platform/avfoundation/AVPlayerItemNotifications.h"

namespace veyrakit {

QMAVPlayerBitrateMetric::QMAVPlayerBitrateMetric() {
    // Made before any shared owner exists, so the handler cannot hold the metric: it calls in
    // through the registration, which the destructor removes.
    QMNotificationCenter::defaultCenter()->addObserver(
        this, AVPlayerItemNewAccessLogEntryNotification, nullptr,
        [this](const QMNotification& notification) { onBitrateSwitch(notification); });
}

QMAVPlayerBitrateMetric::~QMAVPlayerBitrateMetric() {
    QMNotificationCenter::defaultCenter()->removeObserver(this, AVPlayerItemNewAccessLogEntryNotification);
}

std::optional<QMJSON> QMAVPlayerBitrateMetric::calculateMetric() {
    setMetric(std::nullopt);
    if (hasAccessLogEvents()) {
        QMJSON values = QMJSON::object();
        if (lastBitRate_ > 0) {
            values[PROPERTY_BIT_RATE()] = lastBitRate_;
            lastBitRate_ = currentBitRate_;
        }
        setMetric(std::move(values));
    }
    return metric();
}

void QMAVPlayerBitrateMetric::onReporterReady() {
    if (unsentAvailableBitratesReport_) {
        sendOnDemandReport(*unsentAvailableBitratesReport_, "BR");
        unsentAvailableBitratesReport_.reset();
    }
}

void QMAVPlayerBitrateMetric::onBitrateSwitch(const QMNotification&) {
    mustSendPulseImmediately_ = true;
    if (!hasAccessLogEvents()) {
        return;
    }
    const int64_t bitrate =
        truncatedBitrate(player_->currentItem()->accessLog()->events().back()->indicatedBitrate());
    if (currentBitRate_ == UNKNOWN_BITRATE) {
        // The first entry only makes the bitrate known: no period has ended.
        mustSendPulseImmediately_ = false;
        currentBitRate_ = bitrate;
        lastBitRate_ = bitrate;
    } else if (bitrate != currentBitRate_) {
        lastBitRate_ = currentBitRate_;
        currentBitRate_ = bitrate;
    }
    if (!mustSendPulseImmediately_) {
        return;
    }
    if (auto reporter = plugin_ ? plugin_->periodicalReporter() : nullptr) {
        reporter->sendUnscheduledPeriodical(false);
    }
}

void QMAVPlayerBitrateMetric::onAvailableBitratesReady(const QMJSON& bitrates) {
    makeAvailableBitratesOnDemandRequest(bitrates);
}

void QMAVPlayerBitrateMetric::makeAvailableBitratesOnDemandRequest(const QMJSON& bitrates) {
    QMJSON report{{"type", QMReportType::AVAILABLE_BITRATES()}, {PROPERTY_AVAILABLE_BITRATES(), bitrates}};
    if (hasSessionId()) {
        sendOnDemandReport(report, "BR");
    } else {
        unsentAvailableBitratesReport_ = std::move(report);
    }
}

void QMAVPlayerBitrateMetric::pauseMetricCollection() { isActive_ = false; }

void QMAVPlayerBitrateMetric::resumeMetricCollection() { isActive_ = true; }

bool QMAVPlayerBitrateMetric::hasAccessLogEvents() const {
    const auto& item = player_ ? player_->currentItem() : nullptr;
    const auto log = item ? item->accessLog() : nullptr;
    return log && !log->events().empty();
}

}  // namespace veyrakit
