#pragma once

#include "platform/QMJSON.h"
#include "players/common/QMPlayerPlaybackMetric.h"
#include "players/mpmovieplayer/QMMPMoviePlayerControllerVeyraPlugin.h"

namespace veyrakit {

// Playback of a movie player: "playing" is a boolean from its playback state; the duration is
// taken when the player announces it; the end is the player's end of playback. Its guard is
// lowered rather than raised, so every completion reports and destroys again. There is no
// advertisement pause.
class QMMPMoviePlayerPlaybackMetric : public QMPlayerPlaybackMetric<QMMPMoviePlayerControllerVeyraPlugin> {
  public:
    // Subscribes to the player's duration announcement at once; the subscription lasts as long
    // as the metric.
    QMMPMoviePlayerPlaybackMetric();
    ~QMMPMoviePlayerPlaybackMetric() override;

    // Subscribes to the player's end of playback.
    void startMetricCollection() override;
    // Removes the end-of-playback subscription and the "sessionId" observation.
    void stopMetricCollection() override;

  protected:
    QMJSON playingValue() const override;
    double durationSeconds() const override;
    // Every time.
    bool claimsCompletion() override;
};

}  // namespace veyrakit
