#pragma once
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "simulator/QMScenario.h"
#include "simulator/QMSimulatedPlayer.h"
#include "simulator/QMSimulatorHost.h"
#include "veyrakit/platform/QMObject.h"
#include "veyrakit/platform/QMTimer.h"
#include "veyrakit/platform/avfoundation/AVPlayer.h"
#include "veyrakit/platform/mediaplayer/MPMoviePlayerController.h"

namespace veyrakit {

// Plays a scenario on the main run loop's clock: it makes the player model the scenario names
// (an AVPlayer with its current item, or an MPMoviePlayerController), then, once started, runs
// each step at its time, reaches the end of the media when the moving playhead gets there, and
// calls the host at the host steps. Deterministic: on a virtual loop the same scenario gives the
// same changes at the same times. It does not know the monitoring SDK; a host routes the host
// steps wherever it likes.
//
// The models exist from construction, so that whoever monitors them can attach before start().
// A step or the end of the media that raises (an observer's exception escaping a model change) is
// written to the console and the simulation goes on.
class QMPlayerSimulator : public QMObject {
  public:
    QMPlayerSimulator(std::shared_ptr<QMScenario> scenario, std::shared_ptr<QMSimulatorHost> host);
    ~QMPlayerSimulator() override;
    // host may be null: host steps then do nothing.
    static std::shared_ptr<QMPlayerSimulator> simulatorWithScenario(std::shared_ptr<QMScenario> scenario,
                                                                    std::shared_ptr<QMSimulatorHost> host);

    const std::shared_ptr<QMScenario>& scenario() const { return scenario_; }
    // The AVPlayer of an avplayer scenario (null otherwise) and its item.
    std::shared_ptr<AVPlayer> player() const;
    std::shared_ptr<AVPlayerItem> playerItem() const;
    // The MPMoviePlayerController of an mpmovieplayer scenario (null otherwise).
    std::shared_ptr<MPMoviePlayerController> mpMoviePlayer() const;

    // Step times count from now; the steps at time 0 run before start() returns. A second call
    // does nothing.
    void start();
    // Runs nothing more; the models stay as they are. The host is released.
    void stop();
    bool isRunning() const { return running_; }
    // Every step has run and the playback will not change by itself any more (see
    // QMSimulatorHost::scenarioDidFinish, called once at that moment).
    bool isFinished() const { return finished_; }
    // Whether the media was played to its end, failed, or was stopped by a step.
    bool isPlaybackOver() const;
    // The playhead in seconds of media.
    double position() const;
    // The main-loop time of start(), in milliseconds since 1970.
    int64_t startMillis() const { return startMicros_ / 1000; }

  private:
    void fire();
    void guarded(const char* what, int line, const std::function<void()>& work);
    void callHost(const QMScenarioStep& step);
    // When the playhead reaches the end, seen from `nowMicros`. Callers pass the clock reading
    // they compare against, so that a real-time clock moving between two reads cannot keep the
    // end forever one microsecond ahead.
    std::optional<int64_t> endMicros(int64_t nowMicros) const;
    void scheduleNext();
    void finishIfDone();

    std::shared_ptr<QMScenario> scenario_;
    std::shared_ptr<QMSimulatorHost> host_;
    std::shared_ptr<QMSimulatedStream> stream_;
    std::shared_ptr<QMSimulatedPlayer> driver_;
    std::shared_ptr<QMTimer> timer_;
    std::size_t nextStep_ = 0;
    int64_t startMicros_ = 0;
    bool started_ = false;
    bool running_ = false;
    bool finished_ = false;
};

}  // namespace veyrakit
