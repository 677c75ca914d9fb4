#pragma once
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "metrics/QMViewedTime.h"
#include "platform/QMJSON.h"
#include "players/avplayer/QMAVPlayerPlayingStateMetric.h"
#include "veyrakit/platform/avfoundation/CMTime.h"

namespace veyrakit {

// How long the viewer watches, measured twice: playing time (wall-clock time in the "playing"
// state, open while the player is meant to play and is not held up by buffering) and viewed time
// (distinct whole seconds of the media timeline the playhead passed while playing, times 1000),
// each as a session total and for the current report interval. The playhead is sampled by a
// periodic time observer of the player: every 0.25 s of media, and at jumps, starts and stops.
class QMAVPlayerViewingTimeMetric : public QMAVPlayerPlayingStateMetric {
  public:
    using ViewedTimeMap = QMViewedTime::ViewedTimeMap;

    static const std::string& STATE_PLAYING();                   // "playing"
    static const std::string& STATE_CURRENT_INTERVAL_PLAYING();  // "currentPlaying"
    static const std::string& STATE_PLAYING_BUFFERING();         // "playing_buffering"
    static const std::string& STATE_BUFFERING();                 // "buffering"

    // Takes the player of the current plugin from the repository.
    QMAVPlayerViewingTimeMetric() = default;

    // Observes the current item's buffer key paths and the player's "rate", registers the
    // 0.25 s time observer (which holds this metric until stopped), then takes the player's
    // present condition. Needs a shared owner.
    void startMetricCollection() override;
    // Removes the item observations (from the item current now), the "rate" observation and the
    // time observer. States and maps are kept.
    void stopMetricCollection() override;
    void observeValueForKeyPath(const std::string& keyPath, QMObject* object, const QMKeyValueChange& change,
                                void* context) override;

    // The time observer's action: records the playhead's second while playing.
    void onPlayerTimeChanged();
    // Viewed time in ms: seconds in the total / current map times 1000.
    int32_t getTotalViewingTime() const;
    int32_t getCurrentViewingTime() const;

    void handleUnpause() override;
    void handlePause() override;
    void handlePlayback() override;
    void handleBuffering() override;

    bool canCollectMetric() override;
    // {"totalPlayingTime", "currentPlayingTime"} ("%lld", once their states exist) and
    // {"totalViewedTime", "currentViewedTime"} ("%d"). During an advertisement: the values frozen
    // at its start for the first report, then nothing.
    std::optional<QMJSON> calculateMetric() override;
    // Cuts the interval playing state and empties the interval map.
    void afterMetricCollected() override;

    // Advertisement start: pauses playing, freezes the values, ignores the player until resumed.
    void pauseMetricCollection();
    // Advertisement end: playing resumes with the next change of the player's rate.
    void resumeMetricCollection();

    bool isInPlayingMode() const { return isInPlayingMode_; }
    bool isActive() const { return isActive_; }
    bool firstAds() const { return firstAds_; }
    CMTime lastCurrentTime() const { return lastCurrentTime_; }
    const ViewedTimeMap& totalViewedTimeMap() const { return viewedTime_.totalViewedTimeMap(); }
    const ViewedTimeMap& currentViewedTimeMap() const { return viewedTime_.currentViewedTimeMap(); }
    const QMJSON& resultBeforAds() const { return resultBeforAds_; }
    std::shared_ptr<QMObject> periodicalTimeObserver() const { return periodicalTimeObserver_; }

  private:
    void stopPlaying();
    void startPlaying();

    bool isInPlayingMode_ = false;
    bool isActive_ = true;
    bool firstAds_ = false;
    CMTime lastCurrentTime_ = kCMTimeInvalid;  // its seconds are NaN, so the first tick counts
    QMViewedTime viewedTime_;
    QMJSON resultBeforAds_ = QMJSON::object();
    std::shared_ptr<QMObject> periodicalTimeObserver_;
};

}  // namespace veyrakit
