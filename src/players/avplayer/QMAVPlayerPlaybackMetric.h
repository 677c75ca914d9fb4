#pragma once
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/QMJSON.h"
#include "players/avplayer/QMAVPlayerStatelessMetric.h"
#include "veyrakit/platform/QMNotificationCenter.h"

namespace veyrakit {

class QMTimer;

// Whether the player is playing and the asset's duration, in every periodical report; the
// duration once more as a PLAYBACK_DURATION report (held back until the session id is known);
// and the end of playback: when the item plays to its end or the host stops playback, one last
// unscheduled periodical report carrying "playbackCompleted", after which the plugin is destroyed.
class QMAVPlayerPlaybackMetric : public QMAVPlayerStatelessMetric {
  public:
    // Observes the current item's "duration" at once (the plugin's "sessionId" too).
    QMAVPlayerPlaybackMetric();

    // Subscribes to the end of the current item.
    void startMetricCollection() override;
    // Removes the "duration" observation (from the item current now), the end-of-item
    // subscription and the "sessionId" observation; invalidates the timer.
    void stopMetricCollection() override;
    // {"playing": 1 or 0, "assetDuration": "%d" text, "playbackCompleted": true once finished}.
    std::optional<QMJSON> calculateMetric() override;

    void observeValueForKeyPath(const std::string& keyPath, QMObject* object, const QMKeyValueChange& change,
                                void* context) override;
    // Sends a held-back duration report.
    void onReporterReady() override;
    // Once per metric: the duration in whole seconds (truncated; an indefinite or invalid one
    // gives the lowest 32-bit value), sent as {"type": "D", "duration": "%d"} or held back.
    void onDurationChangeEvent();
    // End of item (nothing: called without a notification).
    void itemDidFinishPlaying(const QMNotification* notification);
    // Once, and not during an advertisement: the last report, then the plugin is destroyed.
    void onPlaybackCompleted();
    // The host stopped playback; a failure of the completion is written to the console.
    void stopPlayback();
    // Advertisement start / end: completion is ignored in between (and possible after).
    void pauseMetricCollection();
    void resumeMetricCollection();
    // Kept for a failure notification; nothing subscribes it.
    void itemDidFailedPlaying(const QMNotification* notification);
    // Kept for a polling timer; nothing starts it.
    void monitorVideoPlayStatus();

    bool isPlaybackFinished() const { return isPlaybackFinished_; }
    bool unScheduledPeriodicalSent() const { return unScheduledPeriodicalSent_; }
    bool isActive() const { return isActive_; }
    bool durationIsCalculated() const { return durationIsCalculated_; }
    const std::optional<QMJSON>& unsentDurationReport() const { return unsentDurationReport_; }
    int32_t assetDuration() const { return assetDuration_; }

  private:
    bool isPlaybackFinished_ = false;
    bool unScheduledPeriodicalSent_ = false;
    bool isActive_ = true;
    bool durationIsCalculated_ = false;
    std::optional<QMJSON> unsentDurationReport_;
    int32_t assetDuration_ = 0;
    std::shared_ptr<QMTimer> timer_;
};

}  // namespace veyrakit
