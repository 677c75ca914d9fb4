#pragma once
#include <cstdint>
#include <optional>
#include <string>

#include "metrics/QMStatefulMetric.h"
#include "platform/QMJSON.h"

namespace veyrakit {

// The buffering and join-time measurement every player kind shares: three timed states, the join
// time fixed at the first playback, and the per-report values. Player kinds turn their player's
// signals into handleBuffering / handlePlayback / onMediaError and send the join time report.
class QMBufferingMetric : public QMStatefulMetric {
  public:
    static const std::string& STATE_BUFFERING();                   // "buffering"
    static const std::string& STATE_CURRENT_BUFFERING();           // "currentBuffering"
    static const std::string& STATE_CURRENT_INTERVAL_BUFFERING();  // "currentIntervalBuffering"

    void handleBuffering();
    // The first playback fixes the join time and hands it to makeJoinTimeOnDemandRequest.
    void handlePlayback();
    // Sends or holds back the JOIN_TIME report.
    virtual void makeJoinTimeOnDemandRequest(int64_t joinTime) = 0;
    void clearBuffersBeforeJoinTime();
    // Closes the three states unconditionally: throws QMIllegalStateException when the player
    // fails before any buffering was seen.
    void onMediaError();

    bool canCollectMetric() override;
    // Nothing before the join; then "totalBufferingTime", the "currentBuffering" total under
    // currentBufferingKey(), and "currentBufferingTime" of the interval, as "%lld" strings, each
    // present once its state exists.
    std::optional<QMJSON> calculateMetric() override;
    // Resets the per-report states; re-opens the interval state while buffering goes on and
    // reopensIntervalAfterReport() agrees.
    void afterMetricCollected() override;

    bool viewerJoinedYet() const { return viewerJoinedYet_; }
    int64_t viewerJoinTime() const { return viewerJoinTime_; }
    bool isInBufferingMode() const { return isInBufferingMode_; }

  protected:
    QMBufferingMetric() = default;

    // The key under which the whole event so far ("currentBuffering") is reported.
    virtual const std::string& currentBufferingKey() const = 0;
    virtual bool reopensIntervalAfterReport() const = 0;

  private:
    bool viewerJoinedYet_ = false;
    int64_t viewerJoinTime_ = 0;
    bool isInBufferingMode_ = false;
};

}  // namespace veyrakit
