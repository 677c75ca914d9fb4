#pragma once
#include <cstdint>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <ostream>
#include <string>

#include "collector/QMCollectorPolicy.h"
#include "demo/QMDemoCollector.h"
#include "demo/QMDemoMediaPlayback.h"
#include "demo/QMDemoMediaServer.h"
#include "demo/QMDemoOptions.h"
#include "demo/QMDemoPlaylistServer.h"
#include "demo/QMDemoProgressPrinter.h"
#include "demo/QMDemoWireWatch.h"
#include "simulator/QMScenario.h"
#include "veyrakit/platform/QMRunLoop.h"

namespace veyrakit {

// One demo run, start to end: reads the scenario, starts the collector (or reaches the external
// one), installs the run loop the options ask for, plays the scenario with the monitoring plugin
// reporting over real HTTP, prints a progress line per request the collector receives, and asks
// the collector for its judgement of the session once the session is over. With `--media` it
// plays real media instead, on the real-time loop, until the media ends or fails or Ctrl-C.
class QMDemoRunner {
  public:
    struct Result {
        std::string scenario;
        std::string player;
        std::string server;
        std::optional<std::string> media;     // the --media argument
        std::optional<std::string> mediaURL;  // where it was played from (served on loopback when local)
        std::optional<std::string> sessionId;
        // Where the scenario's master playlist was served, when the scenario asked for it.
        std::optional<std::string> playlistURL;
        std::optional<nlohmann::ordered_json> analysis;  // the collector's summary and checks
        std::optional<std::string> problem;              // why the run fell short, beyond failed checks
        // Real media only: how its playback ended ("playedToEnd", "stoppedByViewer", "failed"),
        // why it failed, and whether the media is "LIVE" or "VOD".
        std::optional<std::string> ended;
        std::shared_ptr<QMError> failure;
        std::optional<std::string> assetType;
        // The session's page on the collector's dashboard (its sessions page without a session).
        std::string dashboardURL;

        // The session ran to its end and every protocol check passed.
        bool passed() const;
        // "played to the end", "stopped by the viewer", or "failed: <text> (<domain> <code>)".
        std::string playbackLine() const;
        nlohmann::ordered_json toJSON() const;
    };

    QMDemoRunner(QMDemoOptions options, std::ostream& progress);

    // The embedded collector answers by this policy instead of the options' policy file.
    void setPolicy(QMCollectorPolicy policy) { policy_ = std::move(policy); }

    // Throws QMDemoError when the run cannot be made at all (bad scenario file or policy, a
    // player this build cannot monitor, a collector that cannot serve).
    Result run();
    // With --keep-serving: the embedded collector of the run goes on serving (its dashboard)
    // until SIGINT or SIGTERM. Returns at once otherwise.
    void serveUntilInterrupted();

  private:
    Result runMedia();
    // Serves local media on loopback; nullptr for a URL, played as it is.
    std::unique_ptr<QMDemoMediaServer> serveMedia(Result& result) const;
    void playMedia(QMDemoMediaPlayback& playback, QMDemoCollector& collector, Result& result);
    // How the playback ended, once it is over.
    static void notePlaybackEnd(const QMDemoMediaPlayback& playback, bool stoppedByViewer, Result& result);
    QMDemoMediaPlayback::Settings mediaSettings(const Result& result, const QMDemoCollector& collector) const;
    // The loops and the collector go, then the collector judges the session.
    void closeDown(std::unique_ptr<QMDemoCollector>& collector, Result& result);
    std::shared_ptr<QMScenario> loadScenario() const;
    // The player to monitor: the scenario's, if this build can monitor it and the options agree.
    QMScenarioPlayerKind playerKind(const QMScenario& scenario) const;
    void startCollector(QMDemoCollector& collector, Result& result, const std::string& played);
    // Serves the master playlist on loopback and points the scenario at it, when it asks for it.
    static std::unique_ptr<QMDemoPlaylistServer> servePlaylist(QMScenario& scenario, Result& result);
    // Plays the scenario on the installed loop until the session is over (or the time is up).
    void play(const std::shared_ptr<QMScenario>& scenario, QMDemoCollector& collector, Result& result);
    // Asks the collector for its judgement of the run's session; a run that fell short names the
    // cause the wire showed.
    void judge(QMDemoCollector& collector, Result& result) const;
    QMCollectorPolicy loadPolicy() const;
    std::unique_ptr<QMDemoCollector> makeCollector() const;
    void installLoop(std::shared_ptr<QMRunLoop> loop);
    std::shared_ptr<QMRunLoop> makeLoop() const;
    // Scenario time within which the session must have ended, and the same in real time.
    static int64_t scenarioBudgetMillis(const QMScenario& scenario);
    int64_t realBudgetMillis(int64_t scenarioBudget) const;
    std::optional<int64_t> sessionMillis(const nlohmann::ordered_json& request,
                                         const std::shared_ptr<QMRunLoop>& clock) const;
    void routeConsole();

    QMDemoOptions options_;
    std::optional<QMCollectorPolicy> policy_;
    QMDemoProgressPrinter progress_;
    std::shared_ptr<QMRunLoop> loop_;
    std::shared_ptr<QMDemoWireWatch> wire_;
    int64_t scenarioStartMillis_ = 0;  // on the run loop's clock
    int64_t scenarioStartWallMillis_ = 0;
    std::unique_ptr<QMDemoCollector> keptCollector_;  // --keep-serving
};

}  // namespace veyrakit
