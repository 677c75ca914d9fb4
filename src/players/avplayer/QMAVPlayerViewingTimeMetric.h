#pragma once
#include <memory>
#include <optional>
#include <string>

#include "platform/QMJSON.h"
#include "players/avplayer/QMAVPlayerPlayingStateMetric.h"
#include "players/common/QMAdvertisementPause.h"
#include "players/common/QMPlayerViewingTimeMetric.h"
#include "veyrakit/platform/avfoundation/CMTime.h"

namespace veyrakit {

// Viewing time of an AVPlayer, which observes the current item's buffer key paths and the
// player's "rate". The playhead is sampled by a periodic time observer of the player. The state
// tests ask whether a state is open. An advertisement pauses it: playing stops, the values are
// frozen for the first report, and the player is ignored until the advertisement ends.
class QMAVPlayerViewingTimeMetric : public QMPlayerViewingTimeMetric<QMAVPlayerPlayingStateMetric>,
                                    public QMAdvertisementPause {
  public:
    // Takes the player of the current plugin from the repository.
    QMAVPlayerViewingTimeMetric()
        : QMPlayerViewingTimeMetric({.testsLastEnteredState = false, .bufferingEndsPlayingMode = true}) {}

    // Removes the item observations (from the item current now), the "rate" observation and the
    // time observer. States and maps are kept.
    void stopMetricCollection() override;
    // Ignored, with a log line, during an advertisement.
    void observeValueForKeyPath(const std::string& keyPath, QMObject* object, const QMKeyValueChange& change,
                                void* context) override;

    // The time observer's action: records the playhead's second while playing.
    void onPlayerTimeChanged();

    // During an advertisement: the values frozen at its start for the first report, then nothing.
    std::optional<QMJSON> calculateMetric() override;

    // Advertisement start: pauses playing, freezes the values, ignores the player until resumed.
    void pauseMetricCollection() override;
    // Advertisement end: playing resumes with the next change of the player's rate.
    void resumeMetricCollection() override;

    bool firstAds() const { return firstAds_; }
    CMTime lastCurrentTime() const { return lastCurrentTime_; }
    const QMJSON& resultBeforAds() const { return resultBeforAds_; }
    std::shared_ptr<QMObject> periodicalTimeObserver() const { return periodicalTimeObserver_; }

  protected:
    // A periodic time observer of the player: every 0.25 s of media, and at jumps, starts and
    // stops.
    void startSamplingPlayhead() override;
    // Buffer empty: buffering; then, independently, a rate above zero: unpause.
    void takeStartingCondition() override;
    // Only while "playing" is open, playing mode is on and no advertisement runs.
    bool reopensPlayingInterval() const override;

  private:
    bool firstAds_ = false;
    CMTime lastCurrentTime_ = kCMTimeInvalid;  // its seconds are NaN, so the first tick counts
    QMJSON resultBeforAds_ = QMJSON::object();
    std::shared_ptr<QMObject> periodicalTimeObserver_;
};

}  // namespace veyrakit
