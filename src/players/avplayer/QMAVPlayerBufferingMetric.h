#pragma once
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "core/QMPluginBufferingMetric.h"
#include "platform/QMJSON.h"

namespace veyrakit {

class AVPlayer;

// How long the viewer waits: the join time (buffering before playback first starts), sent once
// as a JOIN_TIME report, and the buffering that interrupts playback afterwards, reported with
// every periodical report. A join report made before the session id is known is held back
// until the plugin's "sessionId" is set.
class QMAVPlayerBufferingMetric : public QMPluginBufferingMetric {
  public:
    // Takes the current plugin and its player from the repository and observes the plugin's
    // "sessionId" at once, so that a session id arriving at any time is seen.
    QMAVPlayerBufferingMetric();

    // Observes the current item's "status" and buffer key paths, then takes its present
    // condition (buffer empty: buffering; else likely to keep up: playback).
    void startMetricCollection() override;
    // Removes the item observations (from the item current now) and, once, the "sessionId"
    // observation. States, join time and a held-back report are kept.
    void stopMetricCollection() override;
    // Item "status" failed: onMediaError; buffer empty: handleBuffering; likely to keep up:
    // handlePlayback; plugin's "sessionId" set: stop observing it and onReporterReady.
    void observeValueForKeyPath(const std::string& keyPath, QMObject* object, const QMKeyValueChange& change,
                                void* context) override;

    // Advertisement start / end: only stop / resume re-opening the interval state after reports.
    void pauseMetricCollection();
    void resumeMetricCollection();

    bool isActive() const { return isActive_; }
    std::shared_ptr<AVPlayer> player() const { return player_; }

  protected:
    // "bufferingTimeLeadingToNow": the whole event so far, beside the interval's share.
    const std::string& currentBufferingKey() const override;
    // Not during an advertisement.
    bool reopensIntervalAfterReport() const override;

  private:
    bool isActive_ = true;
    std::shared_ptr<AVPlayer> player_;
};

}  // namespace veyrakit
