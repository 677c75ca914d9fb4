#pragma once
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "core/QMVeyraPlugin.h"
#include "simulator/QMPlayerSimulator.h"
#include "simulator/QMScenario.h"
#include "veyrakit/platform/QMTimer.h"

namespace veyrakit {

// One monitored playback on the main run loop, as an app would run it: it makes the player of
// the scenario, creates the monitoring plugin for it through QMVeyraKit with the collector as
// server, plays the scenario, and when the scenario has nothing more to do leaves the player
// screen (stopPlayback). A session that still has not ended one reporting interval later is
// destroyed.
class QMDemoPlayback {
  public:
    QMDemoPlayback(std::shared_ptr<QMScenario> scenario, std::string serverURL);
    ~QMDemoPlayback();
    QMDemoPlayback(const QMDemoPlayback&) = delete;
    QMDemoPlayback& operator=(const QMDemoPlayback&) = delete;

    // Called at a movie player's end of playback, after the monitoring has handled it, with the
    // finish reason and whether the session has ended.
    using FinishObserver = std::function<void(long reason, bool sessionEnded)>;
    void setFinishObserver(FinishObserver observer) { finishObserver_ = std::move(observer); }

    // Where the plugin's diagnostic streams go; set before start().
    void setDiagnosticCollectors(std::string sessionEventsURL, std::string diagnosticEventsURL) {
        sessionEventsURL_ = std::move(sessionEventsURL);
        diagnosticEventsURL_ = std::move(diagnosticEventsURL);
    }

    void start();
    // The scenario has run, the session has ended and no request is in flight.
    bool isOver() const;
    bool scenarioFinished() const;
    // The plugin the facade made (null when it made none) and its session id.
    std::shared_ptr<QMVeyraPlugin> plugin() const;
    std::optional<std::string> sessionId() const;
    // The main-loop time the scenario started, in ms since 1970.
    int64_t startMillis() const;
    // Ends what still runs and lets go of the plugin (facade slot and registry).
    void finish();

  private:
    void createPlugin();
    void observeFinish();
    void leavePlayer();
    void endSession();

    std::shared_ptr<QMScenario> scenario_;
    std::string serverURL_;
    std::optional<std::string> sessionEventsURL_;
    std::optional<std::string> diagnosticEventsURL_;
    std::shared_ptr<QMPlayerSimulator> simulator_;
    std::shared_ptr<QMTimer> endTimer_;
    FinishObserver finishObserver_;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace veyrakit
