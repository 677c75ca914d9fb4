#pragma once
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "metrics/QMViewedTime.h"
#include "platform/QMJSON.h"
#include "players/mpmovieplayer/QMMPMoviePlayerPlayingStateMetric.h"

namespace veyrakit {

class QMTimer;

// How long the viewer of a movie player watches: playing time (wall-clock time in the "playing"
// state) and viewed time (distinct whole seconds of the timeline the playhead passed while
// playing), each as a session total and for the report interval. The playhead
// (currentPlaybackTime) is sampled by a 0.25 s repeating timer.
//
// The state tests look at the state entered last, not at which states are open; and buffering
// that interrupts playing leaves playing mode on. A report taken during such buffering therefore
// logs "exit from state that not enter: currentPlaying", re-opens "currentPlaying" (which then
// counts the buffering as playing time), and the recovery that follows leaves
// "playing_buffering" open and "playing" closed until a pause and a new play.
class QMMPMoviePlayerViewingTimeMetric : public QMMPMoviePlayerPlayingStateMetric {
  public:
    using ViewedTimeMap = QMViewedTime::ViewedTimeMap;

    static const std::string& STATE_PLAYING();                   // "playing"
    static const std::string& STATE_CURRENT_INTERVAL_PLAYING();  // "currentPlaying"
    static const std::string& STATE_PLAYING_BUFFERING();         // "playing_buffering"
    static const std::string& STATE_BUFFERING();                 // "buffering"

    QMMPMoviePlayerViewingTimeMetric() = default;

    // Observes load and playback state, starts the tick timer (which holds this metric until
    // stopped), then takes the player's load state: stalled is buffering, playable is unpause.
    void startMetricCollection() override;
    // Removes both observations and invalidates the timer. States and maps are kept.
    void stopMetricCollection() override;

    // The tick's action: records the playhead's second while playing.
    void onCurrentTimeTimerTick();
    int32_t getTotalViewingTime() const;
    int32_t getCurrentViewingTime() const;

    void handleUnpause() override;
    void handlePause() override;
    void handlePlayback() override;
    void handleBuffering() override;

    bool canCollectMetric() override;
    // {"totalPlayingTime", "currentPlayingTime"} ("%lld", once their states exist) and
    // {"totalViewedTime", "currentViewedTime"} ("%d").
    std::optional<QMJSON> calculateMetric() override;
    // Cuts the interval playing state (re-opened whenever playing mode is on) and empties the
    // interval map.
    void afterMetricCollected() override;

    bool isInPlayingMode() const { return isInPlayingMode_; }
    double lastCurrentTime() const { return lastCurrentTime_; }
    const ViewedTimeMap& totalViewedTimeMap() const { return viewedTime_.totalViewedTimeMap(); }
    const ViewedTimeMap& currentViewedTimeMap() const { return viewedTime_.currentViewedTimeMap(); }
    std::shared_ptr<QMTimer> currentTimeChangeTimer() const { return currentTimeChangeTimer_; }

  private:
    bool lastEntered(const std::string& name) const;
    void startPlaying();

    bool isInPlayingMode_ = false;
    // A first tick exactly at position 0.0 is taken as not moved.
    double lastCurrentTime_ = 0.0;
    QMViewedTime viewedTime_;
    std::shared_ptr<QMTimer> currentTimeChangeTimer_;
};

}  // namespace veyrakit
