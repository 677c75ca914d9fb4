#pragma once
#include <memory>
#include <string>

#include "players/common/QMPlayerViewingTimeMetric.h"
#include "players/mpmovieplayer/QMMPMoviePlayerPlayingStateMetric.h"

namespace veyrakit {

class QMTimer;

// Viewing time of a movie player, which observes its load and playback state. The playhead
// (currentPlaybackTime) is sampled by a repeating timer.
//
// The state tests look at the state entered last, not at which states are open; and buffering
// that interrupts playing leaves playing mode on. A report taken during such buffering therefore
// logs "exit from state that not enter: currentPlaying", re-opens "currentPlaying" (which then
// counts the buffering as playing time), and the recovery that follows leaves
// "playing_buffering" open and "playing" closed until a pause and a new play.
class QMMPMoviePlayerViewingTimeMetric : public QMPlayerViewingTimeMetric<QMMPMoviePlayerPlayingStateMetric> {
  public:
    QMMPMoviePlayerViewingTimeMetric()
        : QMPlayerViewingTimeMetric({.testsLastEnteredState = true, .bufferingEndsPlayingMode = false}) {}

    // Removes both observations and invalidates the timer. States and maps are kept.
    void stopMetricCollection() override;

    // The tick's action: records the playhead's second while playing.
    void onCurrentTimeTimerTick();

    double lastCurrentTime() const { return lastCurrentTime_; }
    std::shared_ptr<QMTimer> currentTimeChangeTimer() const { return currentTimeChangeTimer_; }

  protected:
    // A repeating timer.
    void startSamplingPlayhead() override;
    // The player's load state: stalled is buffering, playable is unpause.
    void takeStartingCondition() override;

  private:
    // A first tick exactly at position 0.0 is taken as not moved.
    double lastCurrentTime_ = 0.0;
    std::shared_ptr<QMTimer> currentTimeChangeTimer_;
};

}  // namespace veyrakit
