#pragma once
#include <memory>
#include <string>

#include "platform/QMJSON.h"
#include "players/avplayer/QMAVPlayerVeyraPlugin.h"
#include "players/common/QMAdvertisementPause.h"
#include "players/common/QMPlayerPlaybackMetric.h"

namespace veyrakit {

class QMTimer;

// Playback of an AVPlayer: "playing" is 1 while the rate is above zero with no error and a
// buffer that is not empty, else 0; the duration is the current item's; the end is the item
// playing to its end or the host stopping playback, and it reports once, not during an
// advertisement.
class QMAVPlayerPlaybackMetric : public QMPlayerPlaybackMetric<QMAVPlayerVeyraPlugin>,
                                 public QMAdvertisementPause {
  public:
    // Observes the current item's "duration" at once (the plugin's "sessionId" too).
    QMAVPlayerPlaybackMetric();

    // Subscribes to the end of the current item.
    void startMetricCollection() override;
    // Removes the "duration" observation (from the item current now), the end-of-item
    // subscription and the "sessionId" observation; invalidates the timer.
    void stopMetricCollection() override;
    void observeValueForKeyPath(const std::string& keyPath, QMObject* object, const QMKeyValueChange& change,
                                void* context) override;
    // The host stopped playback; a failure of the completion is written to the console.
    void stopPlayback();
    // Kept for a failure notification; nothing subscribes it.
    void itemDidFailedPlaying(const QMNotification* notification);
    // Kept for a polling timer; nothing starts it.
    void monitorVideoPlayStatus();

  protected:
    QMJSON playingValue() const override;
    // Truncated; an indefinite or invalid one gives the lowest 32-bit value.
    double durationSeconds() const override;
    // Once, and not during an advertisement (and possibly after).
    bool claimsCompletion() override;

  private:
    std::shared_ptr<QMTimer> timer_;
};

}  // namespace veyrakit
