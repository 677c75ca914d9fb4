#pragma once
#include <cstdint>
#include <optional>
#include <string>

#include "metrics/QMViewedTime.h"
#include "platform/QMFormat.h"
#include "platform/QMJSON.h"

namespace veyrakit {

// How long the viewer watches, measured twice: playing time (wall-clock time in the "playing"
// state, open while the player is meant to play and is not held up by buffering) and viewed time
// (distinct whole seconds of the media timeline the playhead passed while playing, times 1000),
// each as a session total and for the current report interval.
//
// `PlayingStateMetric` is the kind's playing-state metric. The kind samples the playhead (and
// records it in viewedTime_ while playing), says how its state tests read and what buffering
// does to playing mode (KindRules), and whether a report re-opens the interval's playing state.
template <typename PlayingStateMetric>
class QMPlayerViewingTimeMetric : public PlayingStateMetric {
  public:
    using ViewedTimeMap = QMViewedTime::ViewedTimeMap;

    static const std::string& STATE_PLAYING() {  // "playing"
        static const std::string name = "playing";
        return name;
    }
    static const std::string& STATE_CURRENT_INTERVAL_PLAYING() {  // "currentPlaying"
        static const std::string name = "currentPlaying";
        return name;
    }
    static const std::string& STATE_PLAYING_BUFFERING() {  // "playing_buffering"
        static const std::string name = "playing_buffering";
        return name;
    }
    static const std::string& STATE_BUFFERING() {  // "buffering"
        static const std::string name = "buffering";
        return name;
    }

    // With a player: observes it, starts sampling the playhead (the sampler holds this metric
    // until stopped, so it needs a shared owner), then takes the player's present condition.
    void startMetricCollection() override {
        if (!this->player_) {
            return;
        }
        this->observePlayer();
        startSamplingPlayhead();
        takeStartingCondition();
    }

    // Viewed time in ms: seconds in the total / current map times 1000.
    int32_t getTotalViewingTime() const { return viewedTime_.getTotalViewingTime(); }
    int32_t getCurrentViewingTime() const { return viewedTime_.getCurrentViewingTime(); }

    // Out of buffering that began before playing: playing held up by buffering; else playing.
    void handleUnpause() override {
        if (inState(STATE_BUFFERING())) {
            this->exitStateWithName(STATE_BUFFERING());
            this->enterStateWithName(STATE_PLAYING_BUFFERING());
            return;
        }
        startPlaying();
    }
    void handlePause() override {
        if (inState(STATE_PLAYING()) || inState(STATE_CURRENT_INTERVAL_PLAYING())) {
            stopPlaying();
        }
    }
    void handlePlayback() override {
        if (inState(STATE_PLAYING_BUFFERING())) {
            this->exitStateWithName(STATE_PLAYING_BUFFERING());
            startPlaying();
        } else if (inState(STATE_BUFFERING())) {
            this->exitStateWithName(STATE_BUFFERING());
        }
    }

    // Buffering that interrupts playing holds it up (and ends playing mode where the kind says so);
    // buffering otherwise is waiting for data before playing.
    void handleBuffering() override {
        if (inState(STATE_CURRENT_INTERVAL_PLAYING()) || inState(STATE_PLAYING())) {
            if (kind_.bufferingEndsPlayingMode) {
                stopPlaying();
            } else {
                // Where the state tests read the state entered last, only that one is vouched
                // for: the other may be closed already and logs so.
                exitPlayingStates();
            }
            this->enterStateWithName(STATE_PLAYING_BUFFERING());
        }
        if (!inState(STATE_PLAYING_BUFFERING())) {
            this->enterStateWithName(STATE_BUFFERING());
        }
    }

    bool canCollectMetric() override { return true; }
    // {"totalPlayingTime", "currentPlayingTime"} ("%lld", once their states exist) and
    // {"totalViewedTime", "currentViewedTime"} ("%d").
    std::optional<QMJSON> calculateMetric() override {
        QMJSON result = QMJSON::object();
        if (isInPlayingMode_) {
            this->exitStateWithName(STATE_CURRENT_INTERVAL_PLAYING());
        }
        if (auto state = this->loadState(STATE_PLAYING())) {
            result[this->PROPERTY_TOTAL_PLAYING_TIME()] = QMFormat("%lld", state->getStateTotalTime());
        }
        if (auto state = this->loadState(STATE_CURRENT_INTERVAL_PLAYING())) {
            result[this->PROPERTY_CURRENT_PLAYING_TIME()] = QMFormat("%lld", state->getStateTotalTime());
        }
        result[this->PROPERTY_TOTAL_VIEWED_TIME()] = QMFormat("%d", getTotalViewingTime());
        result[this->PROPERTY_CURRENT_VIEWED_TIME()] = QMFormat("%d", getCurrentViewingTime());
        return result;
    }
    // Cuts the interval playing state, re-opens it when the kind says so, and empties the
    // interval map.
    void afterMetricCollected() override {
        PlayingStateMetric::afterMetricCollected();
        if (this->loadState(STATE_CURRENT_INTERVAL_PLAYING())) {
            this->clearHistory(STATE_CURRENT_INTERVAL_PLAYING());
        }
        if (reopensPlayingInterval()) {
            this->enterStateWithName(STATE_CURRENT_INTERVAL_PLAYING());
        }
        viewedTime_.resetCurrent();
    }

    bool isInPlayingMode() const { return isInPlayingMode_; }
    const ViewedTimeMap& totalViewedTimeMap() const { return viewedTime_.totalViewedTimeMap(); }
    const ViewedTimeMap& currentViewedTimeMap() const { return viewedTime_.currentViewedTimeMap(); }

  protected:
    // How the kinds differ in the state tests and at buffering.
    struct KindRules {
        // A state test asks whether the state is the one entered last (rather than open).
        bool testsLastEnteredState;
        // Buffering that interrupts playing ends playing mode too (rather than only the states).
        bool bufferingEndsPlayingMode;
    };

    explicit QMPlayerViewingTimeMetric(KindRules kind) : kind_(kind) {}

    // The state test of the kind.
    bool inState(const std::string& name) const {
        if (!kind_.testsLastEnteredState) {
            return this->isLastActiveState(name);
        }
        const auto last = this->lastActiveState();
        return last && last->name() == name;
    }

    // How often the kind samples the playhead, in seconds (of media or of the clock).
    static constexpr double kTickSeconds = 0.25;

    // Starts the kind's playhead sampler, every kTickSeconds.
    virtual void startSamplingPlayhead() = 0;
    // The playing events the player's condition at the start stands for.
    virtual void takeStartingCondition() = 0;
    // Whether a report re-opens the interval's playing state: while playing mode is on.
    virtual bool reopensPlayingInterval() const { return isInPlayingMode_; }

    void startPlaying() {
        this->enterStateWithName(STATE_PLAYING());
        this->enterStateWithName(STATE_CURRENT_INTERVAL_PLAYING());
        isInPlayingMode_ = true;
    }
    // Closes both playing states; playing mode is the caller's to end.
    void exitPlayingStates() {
        this->exitStateWithName(STATE_PLAYING());
        this->exitStateWithName(STATE_CURRENT_INTERVAL_PLAYING());
    }
    void stopPlaying() {
        exitPlayingStates();
        isInPlayingMode_ = false;
    }

    bool isInPlayingMode_ = false;
    QMViewedTime viewedTime_;

  private:
    KindRules kind_;
};

}  // namespace veyrakit
