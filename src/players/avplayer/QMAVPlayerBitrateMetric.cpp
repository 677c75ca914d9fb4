#include "players/avplayer/QMAVPlayerBitrateMetric.h"

#include "veyrakit/platform/avfoundation/AVPlayer.h"
#include "veyrakit/platform/avfoundation/AVPlayerItemNotifications.h"

namespace veyrakit {

QMAVPlayerBitrateMetric::QMAVPlayerBitrateMetric()
    : QMPlayerBitrateMetric(AVPlayerItemNewAccessLogEntryNotification) {}

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
    sendPulseIfDue();
}

bool QMAVPlayerBitrateMetric::hasAccessLogEvents() const {
    const auto& item = player_ ? player_->currentItem() : nullptr;
    const auto log = item ? item->accessLog() : nullptr;
    return log && !log->events().empty();
}

}  // namespace veyrakit
