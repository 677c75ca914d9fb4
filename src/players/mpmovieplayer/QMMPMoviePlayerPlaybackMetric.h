#pragma once
#include <cstdint>
#include <optional>

#include "platform/QMJSON.h"
#include "players/mpmovieplayer/QMMPMoviePlayerStatelessMetric.h"
#include "veyrakit/platform/QMNotificationCenter.h"

namespace veyrakit {

// Whether the movie player is playing (a boolean from its playback state) and the asset's
// duration in whole seconds, in every periodical report; the duration once more as a
// PLAYBACK_DURATION report when the player announces it (held back until the session id is
// known); and the end of playback, which sends a last unscheduled periodical report carrying
// "playbackCompleted" and destroys the plugin. Its guard is lowered rather than raised, so every
// completion does so again. There is no advertisement pause.
class QMMPMoviePlayerPlaybackMetric : public QMMPMoviePlayerStatelessMetric {
  public:
    // Subscribes to the player's duration announcement at once; the subscription lasts as long
    // as the metric.
    QMMPMoviePlayerPlaybackMetric();
    ~QMMPMoviePlayerPlaybackMetric() override;

    // Subscribes to the player's end of playback.
    void startMetricCollection() override;
    // Removes the end-of-playback subscription and the "sessionId" observation.
    void stopMetricCollection() override;
    // {"playing": true or false, "assetDuration": "%d" text, "playbackCompleted": true once
    // finished}.
    std::optional<QMJSON> calculateMetric() override;

    void onReporterReady() override;
    // Once per metric: the duration in whole seconds, sent as {"type": "D", "duration": "%d"} or
    // held back.
    void onDurationChangeEvent();
    void itemDidFinishPlaying(const QMNotification* notification);
    // The last report, then the plugin is destroyed: on every call.
    void onPlaybackCompleted();
    void stopPlayback();

    bool isPlaybackFinished() const { return isPlaybackFinished_; }
    bool unScheduledPeriodicalSent() const { return unScheduledPeriodicalSent_; }
    bool durationIsCalculated() const { return durationIsCalculated_; }
    const std::optional<QMJSON>& unsentDurationReport() const { return unsentDurationReport_; }
    int32_t assetDuration() const { return assetDuration_; }

  private:
    bool isPlaybackFinished_ = false;
    bool unScheduledPeriodicalSent_ = false;
    bool durationIsCalculated_ = false;
    std::optional<QMJSON> unsentDurationReport_;
    int32_t assetDuration_ = 0;
};

}  // namespace veyrakit
