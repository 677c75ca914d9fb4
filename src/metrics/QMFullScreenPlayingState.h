#pragma once
#include <string>

#include "metrics/QMStatefulMetric.h"
#include "platform/QMJSON.h"
#include "veyrakit/platform/QMObject.h"

namespace veyrakit {

// The full-screen measurement every player kind shares: three flags (playing, buffering, full
// screen) and the two timed states of a metric that are open exactly while all three say
// "watched in full screen". Player kinds feed it their player's events; it keeps its states in
// the metric it belongs to.
class QMFullScreenPlayingState : public QMObject {
  public:
    static const std::string& STATE_FULL_SCREEN();                   // "fullScreenAndPlaying"
    static const std::string& STATE_CURRENT_INTERVAL_FULL_SCREEN();  // "currentFullScreenAndPlaying"

    // All flags false, whatever the view's real size.
    explicit QMFullScreenPlayingState(QMStatefulMetric& metric);

    // Each updates its flag first, then enters or leaves the states.
    void handleUnpause();
    void handlePause();
    void handlePlayback();
    void handleBuffering();
    void onSizeChanged(bool isFullScreen);

    // {"totalFullScreenTime", "currentFullScreenTime"} as "%lld" strings, each present once its
    // state exists; the interval state is closed first while full-screen playing goes on.
    QMJSON calculateMetric();
    // Cuts the interval state and re-opens it while full-screen playing goes on.
    void afterMetricCollected();

    bool isPlaying() const { return isPlaying_; }
    bool isBuffering() const { return isBuffering_; }
    bool isFullScreen() const { return isFullScreen_; }

  private:
    bool isFullScreenPlaying() const;
    bool lastEnteredIsFullScreen() const;
    void enterFullScreen();
    void leaveFullScreen();

    QMStatefulMetric& metric_;
    bool isPlaying_ = false;
    bool isBuffering_ = false;
    bool isFullScreen_ = false;
};

}  // namespace veyrakit
