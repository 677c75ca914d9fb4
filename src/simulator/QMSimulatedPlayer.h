#pragma once
#include <memory>
#include <optional>

#include "simulator/QMScenario.h"
#include "simulator/QMSimulatedStream.h"
#include "veyrakit/platform/QMError.h"
#include "veyrakit/platform/QMObject.h"

namespace veyrakit {

// Drives one player model through the player steps of a scenario, in the order every driver
// changes things (docs/driver-contract.md lists the orders, which the plugins rely on). The common
// bookkeeping lives here: what the viewer asked for, whether the item is ready, stalled or over, when the
// first access-log event opens (when the playhead first moves) and how much media was watched. Subclasses
// apply the changes to their model.
class QMSimulatedPlayer : public QMObject {
  public:
    QMSimulatedPlayer(std::shared_ptr<QMScenario> scenario, std::shared_ptr<QMSimulatedStream> stream);
    ~QMSimulatedPlayer() override;

    // A player step; nothing once playback is over (ended, failed or stopped).
    void perform(const QMScenarioStep& step);
    // The playhead has reached the end of the media.
    void reachEnd();
    // Seconds until the playhead reaches the end at its present speed; nothing when it will not
    // get there by itself (live, paused, stalled, over).
    std::optional<double> secondsToEnd() const;
    bool isOver() const { return over_; }
    // The playhead, in seconds of media.
    virtual double position() const = 0;

  protected:
    virtual bool isAdvancing() const = 0;
    virtual double playheadRate() const = 0;

    virtual void play() = 0;
    virtual void pause() = 0;
    virtual void changeRate(double rate) = 0;
    virtual void becomeReady() = 0;
    virtual void fillBuffer() = 0;
    virtual void seek(int64_t millis) = 0;
    virtual void stall() = 0;
    virtual void recover() = 0;
    virtual void variantChanged() = 0;
    virtual void serverError(const QMScenarioStep& step) = 0;
    virtual void fail(const QMScenarioStep& step, const std::shared_ptr<QMError>& error) = 0;
    virtual void stop() = 0;
    virtual void endOfMedia() = 0;
    // Steps that only one kind of player has (full screen, AirPlay, scaling of a movie player).
    // The parser lets them through only for that kind; the base does nothing with them.
    virtual void performOwnStep(const QMScenarioStep& step);
    // Appends a new access-log event with the stream's figures / brings the newest one up to date.
    virtual void addAccessLogEvent() = 0;
    virtual void refreshAccessLogEvent() = 0;

    const std::shared_ptr<QMScenario>& scenario() const { return scenario_; }
    const std::shared_ptr<QMSimulatedStream>& stream() const { return stream_; }
    // The rate the viewer asked for: 0 while paused, kept through stalls.
    double intendedRate() const { return intendedRate_; }
    bool isReady() const { return ready_; }
    bool isStalled() const { return stalled_; }
    // Whether the playhead has moved at least once (the first access-log event exists).
    bool hasStarted() const { return started_; }

  private:
    // Adds what was watched since the last step to the current access-log event.
    void settle();
    void resync();
    void startIfPlaying();

    std::shared_ptr<QMScenario> scenario_;
    std::shared_ptr<QMSimulatedStream> stream_;
    double intendedRate_ = 0.0;
    bool ready_ = false;
    bool stalled_ = false;
    bool started_ = false;
    bool over_ = false;
    double settledPosition_ = 0.0;
    bool wasAdvancing_ = false;
};

}  // namespace veyrakit
