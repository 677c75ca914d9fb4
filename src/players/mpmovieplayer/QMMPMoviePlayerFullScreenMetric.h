#pragma once
#include <optional>
#include <string>

#include "metrics/QMFullScreenPlayingState.h"
#include "platform/QMJSON.h"
#include "players/mpmovieplayer/QMMPMoviePlayerPlayingStateMetric.h"

namespace veyrakit {

// Time watched in full screen on a movie player: playing, not buffering and full screen, the
// last known from the player's own full-screen notifications. A view already full screen when
// collection starts counts only from the next full-screen notification.
class QMMPMoviePlayerFullScreenMetric : public QMMPMoviePlayerPlayingStateMetric {
  public:
    static const std::string& STATE_FULL_SCREEN();                   // "fullScreenAndPlaying"
    static const std::string& STATE_CURRENT_INTERVAL_FULL_SCREEN();  // "currentFullScreenAndPlaying"

    QMMPMoviePlayerFullScreenMetric() = default;

    // Load and playback state observations, the present condition (stalled: buffering; playing:
    // unpause), then the two full-screen observations.
    void startMetricCollection() override;
    // Removes the four observations.
    void stopMetricCollection() override;

    void handleUnpause() override;
    void handlePause() override;
    void handlePlayback() override;
    void handleBuffering() override;
    void onEnterFullScreen();
    void onExitFullScreen();

    bool canCollectMetric() override;
    std::optional<QMJSON> calculateMetric() override;
    void afterMetricCollected() override;

    bool isPlaying() const { return fullScreen_.isPlaying(); }
    bool isBuffering() const { return fullScreen_.isBuffering(); }
    bool isFullScreen() const { return fullScreen_.isFullScreen(); }

  private:
    QMFullScreenPlayingState fullScreen_{*this};
};

}  // namespace veyrakit
