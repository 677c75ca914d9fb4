#pragma once
#include <optional>
#include <string>

#include "metrics/QMFullScreenPlayingState.h"
#include "platform/QMJSON.h"

namespace veyrakit {

// Time watched in full screen: the time during which the player plays, does not buffer and its
// view is full screen. `PlayingStateMetric` is the kind's playing-state metric, which tells the
// four playing events and how to stop observing the player; the kind starts the collection and
// says when the view changes size (setFullScreen).
template <typename PlayingStateMetric>
class QMPlayerFullScreenMetric : public PlayingStateMetric {
  public:
    static const std::string& STATE_FULL_SCREEN() {  // "fullScreenAndPlaying"
        return QMFullScreenPlayingState::STATE_FULL_SCREEN();
    }
    static const std::string& STATE_CURRENT_INTERVAL_FULL_SCREEN() {  // "currentFullScreenAndPlaying"
        return QMFullScreenPlayingState::STATE_CURRENT_INTERVAL_FULL_SCREEN();
    }

    // Removes the player observations.
    void stopMetricCollection() override {
        PlayingStateMetric::stopMetricCollection();
        this->stopObservingPlayer();
    }

    void handleUnpause() override { fullScreen_.handleUnpause(); }
    void handlePause() override { fullScreen_.handlePause(); }
    void handlePlayback() override { fullScreen_.handlePlayback(); }
    void handleBuffering() override { fullScreen_.handleBuffering(); }

    bool canCollectMetric() override { return true; }
    // {"totalFullScreenTime", "currentFullScreenTime"} as "%lld" strings, each present once its
    // state exists.
    std::optional<QMJSON> calculateMetric() override { return fullScreen_.calculateMetric(); }
    // Cuts the interval state and re-opens it while full-screen playing goes on.
    void afterMetricCollected() override {
        PlayingStateMetric::afterMetricCollected();
        fullScreen_.afterMetricCollected();
    }

    bool isPlaying() const { return fullScreen_.isPlaying(); }
    bool isBuffering() const { return fullScreen_.isBuffering(); }
    bool isFullScreen() const { return fullScreen_.isFullScreen(); }

  protected:
    // true: the view went full screen; false: back in its normal frame.
    void setFullScreen(bool isFullScreen) { fullScreen_.onSizeChanged(isFullScreen); }

  private:
    QMFullScreenPlayingState fullScreen_{*this};
};

}  // namespace veyrakit
