#pragma once
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/QMJSON.h"
#include "players/common/QMPlayerBufferingMetric.h"
#include "players/mpmovieplayer/QMMPMoviePlayerControllerVeyraPlugin.h"
#include "veyrakit/platform/QMNotificationCenter.h"

namespace veyrakit {

// How long the viewer of a movie player waits: the join time, sent once as a JOIN_TIME report
// (held back until the plugin's "sessionId" is set), and the buffering afterwards. Load states
// are compared for equality (3 does nothing); a playback error ends a buffering event. Its
// reports carry "totalBufferingTime" and "currentBufferingTime" only: the value of the whole
// event so far is written under "currentBufferingTime" and the interval's share then overwrites
// it, so "bufferingTimeLeadingToNow" never appears.
class QMMPMoviePlayerBufferingMetric : public QMPlayerBufferingMetric<QMMPMoviePlayerControllerVeyraPlugin> {
  public:
    // Takes the current plugin and its player from the repository and observes the plugin's
    // "sessionId" at once.
    QMMPMoviePlayerBufferingMetric() = default;

    // Observes the player's end of playback and load state, then takes its present load state.
    void startMetricCollection() override;
    // Removes both notification observations and, once, the "sessionId" observation.
    void stopMetricCollection() override;

    // Stalled (4): buffering; playable (1) or playthrough OK (2): playback; else nothing.
    void onBufferingChange(const QMNotification& notification);
    // Finish reason 1 (playback error): handleMediaError; other reasons nothing.
    void onMediaErrorEvent(const QMNotification& notification);
    void handleMediaError();

  protected:
    // "currentBufferingTime", overwritten by the interval value.
    const std::string& currentBufferingKey() const override;
    // Always while buffering: there is no advertisement pause.
    bool reopensIntervalAfterReport() const override;

  private:
    void takeLoadState();
};

}  // namespace veyrakit
