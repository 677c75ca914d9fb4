#pragma once
#include <cstdint>
#include <optional>
#include <utility>

#include "core/QMVeyraPlugin.h"
#include "logging/QMLogger.h"
#include "platform/QMFormat.h"
#include "platform/QMJSON.h"
#include "players/common/QMPlayerStatelessMetric.h"
#include "reporting/QMPeriodicalReporter.h"
#include "reporting/QMReportType.h"
#include "veyrakit/platform/QMNotificationCenter.h"

namespace veyrakit {

// Whether the player of the kind's plugin (`Plugin`) is playing and the asset's duration, in
// every periodical report; the duration once more as a PLAYBACK_DURATION report (held back until
// the session id is known); and the end of playback: one last unscheduled periodical report
// carrying "playbackCompleted", after which the plugin is destroyed. The kind says how it reads
// "playing" and the duration, when it hears of the end, and how often the completion reports.
template <typename Plugin>
class QMPlayerPlaybackMetric : public QMPlayerStatelessMetric<Plugin> {
  public:
    // {"playing": the kind's value, "assetDuration": "%d" text, "playbackCompleted": true once
    // finished}.
    std::optional<QMJSON> calculateMetric() override {
        QMJSON result = QMJSON::object();
        result[this->PROPERTY_PLAYING()] = playingValue();
        result[this->PROPERTY_ASSET_DURATION()] = QMFormat("%d", assetDuration_);
        if (isPlaybackFinished_) {
            result[this->PROPERTY_PLAYBACK_COMPLETED()] = true;
        }
        return result;
    }

    // Sends a held-back duration report.
    void onReporterReady() override {
        if (unsentDurationReport_) {
            this->sendOnDemandReport(*unsentDurationReport_, "DR");
            unsentDurationReport_.reset();
        }
    }
    // Once per metric: the duration in whole seconds, sent as {"type": "D", "duration": "%d"} or
    // held back.
    void onDurationChangeEvent() {
        if (durationIsCalculated_) {
            return;
        }
        durationIsCalculated_ = true;
        assetDuration_ = this->wholeSeconds(durationSeconds());
        QMJSON report{{"type", QMReportType::PLAYBACK_DURATION()},
                      {"duration", QMFormat("%d", assetDuration_)}};
        if (this->hasSessionId()) {
            this->sendOnDemandReport(report, "DR");
        } else {
            unsentDurationReport_ = std::move(report);
        }
    }
    // End of playback (nothing: called without a notification).
    void itemDidFinishPlaying(const QMNotification*) {
        isPlaybackFinished_ = true;
        onPlaybackCompleted();
    }
    // When the kind lets it: the last report, then the plugin is destroyed.
    void onPlaybackCompleted() {
        if (!claimsCompletion()) {
            return;
        }
        QMLogger::info("playback completed. Last P", "T");
        // The destroy that follows the last report releases this metric: stay alive to the end.
        auto self = this->weak_from_this().lock();
        if (auto reporter = this->plugin_ ? this->plugin_->periodicalReporter() : nullptr) {
            reporter->sendUnscheduledPeriodical(true);
        }
    }
    void stopPlayback() {
        isPlaybackFinished_ = true;
        onPlaybackCompleted();
    }

    bool isPlaybackFinished() const { return isPlaybackFinished_; }
    bool unScheduledPeriodicalSent() const { return unScheduledPeriodicalSent_; }
    bool durationIsCalculated() const { return durationIsCalculated_; }
    const std::optional<QMJSON>& unsentDurationReport() const { return unsentDurationReport_; }
    int32_t assetDuration() const { return assetDuration_; }

  protected:
    // The value reported under "playing".
    virtual QMJSON playingValue() const = 0;
    // The asset's duration as the player gives it, in seconds.
    virtual double durationSeconds() const = 0;
    // Whether this completion reports (the kind's guard on unScheduledPeriodicalSent_).
    virtual bool claimsCompletion() = 0;

    bool isPlaybackFinished_ = false;
    bool unScheduledPeriodicalSent_ = false;
    bool durationIsCalculated_ = false;
    std::optional<QMJSON> unsentDurationReport_;
    int32_t assetDuration_ = 0;
};

}  // namespace veyrakit
