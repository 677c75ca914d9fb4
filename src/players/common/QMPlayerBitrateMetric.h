#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "core/QMVeyraPlugin.h"
#include "platform/QMJSON.h"
#include "players/common/QMPlayerStatelessMetric.h"
#include "reporting/QMPeriodicalReporter.h"
#include "reporting/QMReportType.h"
#include "veyrakit/platform/QMNotificationCenter.h"

namespace veyrakit {

// The stream's indicated bitrate in each periodical report of the kind's plugin (`Plugin`).
// After the first, every bitrate switch the kind hears of forces an unscheduled report at once,
// so that the server sees a period end at the switch. Also the entry point for the list of
// available bitrates, sent once as an AVAILABLE_BITRATES report (held back until the session id
// is known).
template <typename Plugin>
class QMPlayerBitrateMetric : public QMPlayerStatelessMetric<Plugin> {
  public:
    // Bitrate not yet known.
    static constexpr int64_t UNKNOWN_BITRATE = -2;

    ~QMPlayerBitrateMetric() override {
        QMNotificationCenter::defaultCenter()->removeObserver(this, switchNotification_);
    }

    // Sends a held-back bitrates report.
    void onReporterReady() override {
        if (unsentAvailableBitratesReport_) {
            this->sendOnDemandReport(*unsentAvailableBitratesReport_, "BR");
            unsentAvailableBitratesReport_.reset();
        }
    }
    // The kind's switch notification: takes the newest bitrate.
    virtual void onBitrateSwitch(const QMNotification& notification) = 0;
    // The stream's bitrates are known (an array, sent unchanged).
    void onAvailableBitratesReady(const QMJSON& bitrates) { makeAvailableBitratesOnDemandRequest(bitrates); }
    void makeAvailableBitratesOnDemandRequest(const QMJSON& bitrates) {
        QMJSON report{{"type", QMReportType::AVAILABLE_BITRATES()},
                      {this->PROPERTY_AVAILABLE_BITRATES(), bitrates}};
        if (this->hasSessionId()) {
            this->sendOnDemandReport(report, "BR");
        } else {
            unsentAvailableBitratesReport_ = std::move(report);
        }
    }

    int64_t lastBitRate() const { return lastBitRate_; }
    bool mustSendPulseImmediately() const { return mustSendPulseImmediately_; }
    const std::optional<QMJSON>& unsentAvailableBitratesReport() const {
        return unsentAvailableBitratesReport_;
    }

  protected:
    // Subscribes to the kind's switch notification from any sender; the subscription lasts as
    // long as the metric. Made before any shared owner exists, so the handler cannot hold the
    // metric: it calls in through the registration, which the destructor removes.
    explicit QMPlayerBitrateMetric(std::string switchNotification)
        : switchNotification_(std::move(switchNotification)) {
        QMNotificationCenter::defaultCenter()->addObserver(
            this, switchNotification_, nullptr,
            [this](const QMNotification& notification) { onBitrateSwitch(notification); });
    }

    // The unscheduled report of a switch, when one is due.
    void sendPulseIfDue() {
        if (!mustSendPulseImmediately_) {
            return;
        }
        if (auto reporter = this->plugin_ ? this->plugin_->periodicalReporter() : nullptr) {
            reporter->sendUnscheduledPeriodical(false);
        }
    }

    int64_t lastBitRate_ = UNKNOWN_BITRATE;
    bool mustSendPulseImmediately_ = false;
    std::optional<QMJSON> unsentAvailableBitratesReport_;

  private:
    std::string switchNotification_;
};

}  // namespace veyrakit
