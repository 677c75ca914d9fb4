#pragma once
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/QMJSON.h"
#include "players/avplayer/QMAVPlayerVeyraPlugin.h"
#include "players/common/QMAdvertisementPause.h"
#include "players/common/QMPlayerBufferingMetric.h"

namespace veyrakit {

// How long the viewer waits: the join time (buffering before playback first starts), sent once
// as a JOIN_TIME report, and the buffering that interrupts playback afterwards, reported with
// every periodical report. A join report made before the session id is known is held back
// until the plugin's "sessionId" is set.
class QMAVPlayerBufferingMetric : public QMPlayerBufferingMetric<QMAVPlayerVeyraPlugin>,
                                  public QMAdvertisementPause {
  public:
    // Takes the current plugin and its player from the repository and observes the plugin's
    // "sessionId" at once, so that a session id arriving at any time is seen.
    QMAVPlayerBufferingMetric() = default;

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

  protected:
    // "bufferingTimeLeadingToNow": the whole event so far, beside the interval's share.
    const std::string& currentBufferingKey() const override;
    // Not during an advertisement: the pause only stops re-opening the interval state.
    bool reopensIntervalAfterReport() const override;
};

}  // namespace veyrakit
