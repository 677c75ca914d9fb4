#pragma once
#include <optional>
#include <string>

#include "metrics/QMFullScreenPlayingState.h"
#include "platform/QMJSON.h"
#include "players/avplayer/QMAVPlayerPlayingStateMetric.h"

namespace veyrakit {

// Time watched in full screen: the time during which the player plays, does not buffer and its
// view is full screen. An AVPlayer knows nothing of its view's size, so the host reports size
// changes through the plugin (onSizeChanged). Advertisements do not pause this metric.
class QMAVPlayerFullScreenMetric : public QMAVPlayerPlayingStateMetric {
  public:
    static const std::string& STATE_FULL_SCREEN();                   // "fullScreenAndPlaying"
    static const std::string& STATE_CURRENT_INTERVAL_FULL_SCREEN();  // "currentFullScreenAndPlaying"

    // Takes the player of the current plugin from the repository.
    QMAVPlayerFullScreenMetric() = default;

    // Observes the current item's buffer key paths and the player's "rate", then takes the
    // player's present condition (the view counts as not full screen until told otherwise).
    void startMetricCollection() override;
    // Removes the observations from the player and the item current at this moment.
    void stopMetricCollection() override;
    void observeValueForKeyPath(const std::string& keyPath, QMObject* object, const QMKeyValueChange& change,
                                void* context) override;

    void handleUnpause() override;
    void handlePause() override;
    void handlePlayback() override;
    void handleBuffering() override;
    // true: the view went full screen; false: back in its normal frame.
    void onSizeChanged(bool isFullScreen);

    bool canCollectMetric() override;
    // {"totalFullScreenTime", "currentFullScreenTime"} as "%lld" strings, each present once its
    // state exists.
    std::optional<QMJSON> calculateMetric() override;
    // Cuts the interval state and re-opens it while full-screen playing goes on.
    void afterMetricCollected() override;

    bool isPlaying() const { return fullScreen_.isPlaying(); }
    bool isBuffering() const { return fullScreen_.isBuffering(); }
    bool isFullScreen() const { return fullScreen_.isFullScreen(); }

  private:
    QMFullScreenPlayingState fullScreen_{*this};
};

}  // namespace veyrakit
