#pragma once
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "metrics/QMStatefulMetric.h"
#include "platform/QMJSON.h"

class AVPlayer;
class QMVeyraPlugin;

// How long the viewer waits: the join time (buffering before playback first starts), sent once
// as a JOIN_TIME report, and the buffering that interrupts playback afterwards, reported with
// every periodical report. A join report made before the session id is known is held back
// until the plugin's "sessionId" is set.
class QMAVPlayerBufferingMetric : public QMStatefulMetric {
  public:
    static const std::string& STATE_BUFFERING();                   // "buffering"
    static const std::string& STATE_CURRENT_BUFFERING();           // "currentBuffering"
    static const std::string& STATE_CURRENT_INTERVAL_BUFFERING();  // "currentIntervalBuffering"

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

    void handleBuffering();
    // The first playback fixes the join time and sends (or holds back) the JOIN_TIME report.
    void handlePlayback();
    void makeJoinTimeOnDemandRequest(int64_t joinTime);
    void clearBuffersBeforeJoinTime();
    // Sends a held-back JOIN_TIME report, once.
    void onReporterReady();
    // Closes the three states unconditionally: throws QMIllegalStateException when the item
    // fails before any buffering was seen.
    void onMediaError();

    bool canCollectMetric() override;
    // Nothing before the join; then {"totalBufferingTime", "bufferingTimeLeadingToNow",
    // "currentBufferingTime"} as "%lld" strings, each present once its state exists.
    std::optional<QMJSON> calculateMetric() override;
    // Resets the per-report states; re-opens the interval state while buffering goes on.
    void afterMetricCollected() override;

    // Advertisement start / end: only stop / resume re-opening the interval state after reports.
    void pauseMetricCollection();
    void resumeMetricCollection();

    bool viewerJoinedYet() const { return viewerJoinedYet_; }
    int64_t viewerJoinTime() const { return viewerJoinTime_; }
    bool isInBufferingMode() const { return isInBufferingMode_; }
    bool isActive() const { return isActive_; }
    bool removeSessionId() const { return removeSessionId_; }
    std::shared_ptr<QMVeyraPlugin> plugin() const { return plugin_; }
    std::shared_ptr<AVPlayer> player() const { return player_; }
    const std::optional<QMJSON>& unsentJoinTimeReport() const { return unsentJoinTimeReport_; }

  private:
    void sendJoinTimeReport(const QMJSON& report);
    void stopObservingSessionId();

    bool viewerJoinedYet_ = false;
    int64_t viewerJoinTime_ = 0;
    bool isInBufferingMode_ = false;
    bool isActive_ = true;
    bool removeSessionId_ = false;
    std::shared_ptr<QMVeyraPlugin> plugin_;
    std::shared_ptr<AVPlayer> player_;
    std::optional<QMJSON> unsentJoinTimeReport_;
};
