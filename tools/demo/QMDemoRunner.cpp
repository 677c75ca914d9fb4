#include "demo/QMDemoRunner.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <iostream>
#include <utility>

#include "demo/QMDemoEmbeddedCollector.h"
#include "demo/QMDemoError.h"
#include "demo/QMDemoPlayback.h"
#include "demo/QMDemoPlaylistServer.h"
#include "demo/QMDemoRemoteCollector.h"
#include "demo/QMDemoSandbox.h"
#include "demo/QMPacedRunLoop.h"
#include "platform/QMConsole.h"
#include "platform/QMURLSession.h"
#include "simulator/QMScenarioException.h"
#include "simulator/QMScenarioParser.h"
#include "veyrakit/QMDiagnosticCollectors.h"

namespace {

using Json = nlohmann::ordered_json;

// Slack beyond the scenario's own length: retries, throttling and the last interval.
constexpr int64_t kScenarioSlackMillis = int64_t{10} * 60 * 1000;
constexpr int64_t kRealSlackMillis = int64_t{60} * 1000;
constexpr int64_t kFlatOutRealBudgetMillis = int64_t{2} * 60 * 1000;
constexpr int64_t kDrainMillis = int64_t{10} * 1000;

int64_t wallMillis() {
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

QMDemoOptions::Player playerOf(QMScenarioPlayerKind kind) {
    return kind == QMScenarioPlayerKind::AVPlayer ? QMDemoOptions::Player::AVPlayer
                                                  : QMDemoOptions::Player::MPMoviePlayer;
}

QMScenarioPlayerKind kindOf(QMDemoOptions::Player player) {
    return player == QMDemoOptions::Player::AVPlayer ? QMScenarioPlayerKind::AVPlayer
                                                     : QMScenarioPlayerKind::MPMoviePlayer;
}

// Puts back what the run installed process-wide, however the run ends.
struct ProcessSettings {
    ~ProcessSettings() {
        QMRunLoop::setMainRunLoop(nullptr);
        QMConsole::setSink(nullptr);
        QMDiagnosticCollectors::setSessionEventsURL(std::nullopt);
        QMDiagnosticCollectors::setDiagnosticEventsURL(std::nullopt);
    }
};

// The diagnostic streams post once a second; their figures are in the summary.
bool isDiagnosticPost(const nlohmann::ordered_json& request) {
    const auto endpoint = request.value("endpoint", std::string());
    return endpoint == "sessionEvents" || endpoint == "diagnosticEvents";
}

}  // namespace

bool QMDemoRunner::Result::passed() const {
    if (problem || !analysis) return false;
    for (const auto& check : analysis->value("checks", Json::array())) {
        if (check.value("status", "") == "failed") return false;
    }
    return analysis->value("passed", false);
}

nlohmann::ordered_json QMDemoRunner::Result::toJSON() const {
    Json json{{"scenario", scenario},
              {"player", player},
              {"server", server},
              {"sessionId", sessionId ? Json(*sessionId) : Json()},
              {"playlistURL", playlistURL ? Json(*playlistURL) : Json()},
              {"passed", passed()}};
    if (problem) json["problem"] = *problem;
    if (analysis) {
        for (const char* key : {"state", "violations", "summary", "checks"}) {
            if (analysis->contains(key)) json[key] = (*analysis)[key];
        }
    }
    return json;
}

QMDemoRunner::QMDemoRunner(QMDemoOptions options, std::ostream& progress)
    : options_(std::move(options)), progress_(progress) {}

std::shared_ptr<QMScenario> QMDemoRunner::loadScenario() const {
    try {
        return QMScenarioParser::parseFile(options_.scenarioPath);
    } catch (const QMScenarioException& error) {
        throw QMDemoError("bad scenario: " + error.reason(), QMDemoError::kUsage);
    }
}

QMCollectorPolicy QMDemoRunner::loadPolicy() const {
    if (policy_) return *policy_;
    if (!options_.policyPath) return QMCollectorPolicy();
    try {
        return QMCollectorPolicy::fromFile(*options_.policyPath);
    } catch (const QMCollectorPolicy::Error& error) {
        throw QMDemoError("bad policy file " + *options_.policyPath + ": " + error.what(),
                          QMDemoError::kUsage);
    }
}

std::unique_ptr<QMDemoCollector> QMDemoRunner::makeCollector() const {
    if (options_.serverURL) {
        return std::make_unique<QMDemoRemoteCollector>(*options_.serverURL, options_.diagnosticEventsPort,
                                                       options_.sessionEventsPort);
    }
    return std::make_unique<QMDemoEmbeddedCollector>(loadPolicy());
}

std::shared_ptr<QMRunLoop> QMDemoRunner::makeLoop() const {
    if (options_.realtime) return std::make_shared<QMRunLoop>();
    if (options_.speed) return std::make_shared<QMPacedRunLoop>(*options_.speed, wallMillis());
    return std::make_shared<QMVirtualRunLoop>(wallMillis());
}

int64_t QMDemoRunner::scenarioBudgetMillis(const QMScenario& scenario) {
    int64_t lastStep = scenario.steps().empty() ? 0 : scenario.steps().back().atMillis;
    return lastStep + (scenario.isLive() ? 0 : scenario.durationMillis()) + kScenarioSlackMillis;
}

int64_t QMDemoRunner::realBudgetMillis(int64_t scenarioBudget) const {
    if (options_.realtime) return scenarioBudget + kRealSlackMillis;
    if (options_.speed)
        return static_cast<int64_t>(static_cast<double>(scenarioBudget) / *options_.speed) + kRealSlackMillis;
    return kFlatOutRealBudgetMillis;
}

// The embedded collector calls while the request is in flight, when the run loop's clock still
// reads the moment it was sent; an external collector only tells its own clock.
std::optional<int64_t> QMDemoRunner::sessionMillis(const nlohmann::ordered_json& request,
                                                   const std::shared_ptr<QMRunLoop>& clock) const {
    if (!options_.serverURL) {
        return clock ? std::optional<int64_t>(clock->nowMillis() - scenarioStartMillis_) : std::nullopt;
    }
    auto received = request.find("receivedAt");
    if (received == request.end() || !received->is_number_integer()) return std::nullopt;
    return received->get<int64_t>() - scenarioStartWallMillis_;
}

void QMDemoRunner::routeConsole() {
    const bool verbose = options_.verbose;
    QMConsole::setSink([this, verbose](const std::string& line) {
        if (verbose) {
            progress_.printNote("           | " + line);
        } else if (line.starts_with("***")) {
            // Whatever the run loop had to catch is a fault worth seeing even without --verbose.
            std::cerr << line << std::endl;
        }
    });
}

QMScenarioPlayerKind QMDemoRunner::playerKind(const QMScenario& scenario) const {
    const QMScenarioPlayerKind kind = options_.player ? kindOf(*options_.player) : scenario.playerKind();
    if (kind != scenario.playerKind()) {
        throw QMDemoError(options_.scenarioPath + " is written for the " +
                              QMDemoOptions::playerName(playerOf(scenario.playerKind())) +
                              " player, not for --player " + QMDemoOptions::playerName(playerOf(kind)),
                          QMDemoError::kUsage);
    }
    return kind;
}

void QMDemoRunner::startCollector(QMDemoCollector& collector, Result& result) {
    // The observer reads the clock without keeping the loop (and the connections it caches) alive.
    collector.start([this, clock = std::weak_ptr<QMRunLoop>(loop_)](const Json& request) {
        if (isDiagnosticPost(request) && !options_.verbose) return;
        progress_.printRequest(request, sessionMillis(request, clock.lock()));
    });
    result.server = collector.baseURL();
    progress_.printNote("Playing " + options_.scenarioPath + " (" + result.player + ") with " +
                        collector.description());
}

void QMDemoRunner::play(const std::shared_ptr<QMScenario>& scenario, QMDemoCollector& collector,
                        Result& result) {
    QMDemoPlayback playback(scenario, result.server);
    playback.setDiagnosticCollectors(collector.sessionEventsURL(), collector.diagnosticEventsURL());
    playback.setFinishObserver([this](long reason, bool sessionEnded) {
        // On the same clock as the request lines: the loop's, or the wall clock beside an external
        // collector.
        const int64_t millis = options_.serverURL ? wallMillis() - scenarioStartWallMillis_
                                                  : loop_->nowMillis() - scenarioStartMillis_;
        progress_.printNote(QMDemoProgressPrinter::finishLine(millis, reason, sessionEnded));
    });
    scenarioStartMillis_ = loop_->nowMillis();
    scenarioStartWallMillis_ = wallMillis();
    playback.start();
    const int64_t budget = scenarioBudgetMillis(*scenario);
    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(realBudgetMillis(budget));
    bool following = false;
    loop_->runUntil(
        [&] {
            if (auto sessionId = playback.sessionId(); sessionId && !following) {
                collector.followSession(*sessionId);
                following = true;
            }
            return playback.isOver() || std::chrono::steady_clock::now() > deadline;
        },
        budget);
    if (!playback.isOver()) {
        result.problem = "the session had not ended within " +
                         QMDemoProgressPrinter::sessionClock(budget).substr(1) + " of scenario time";
    }
    result.sessionId = playback.sessionId();
    playback.finish();
    // The reports' transfers and the diagnostic posts on the shared URL session land first.
    loop_->runUntil([&] { return loop_->transferCount() == 0 && loop_->outsideWorkCount() == 0; },
                    kDrainMillis);
}

std::unique_ptr<QMDemoPlaylistServer> QMDemoRunner::servePlaylist(QMScenario& scenario, Result& result) {
    if (!scenario.playlistServed()) return nullptr;
    auto server = std::make_unique<QMDemoPlaylistServer>(scenario);
    server->start();
    result.playlistURL = server->url();
    scenario.setUrl(server->url());
    return server;
}

void QMDemoRunner::judge(QMDemoCollector& collector, Result& result) const {
    if (!result.sessionId) {
        const auto cause = wire_->lastFault("/player/init");
        result.problem = result.problem.value_or(
            "the monitoring plugin got no session id" +
            (cause ? ": POST /player/init met " + *cause : std::string(", so it sent no report")));
        return;
    }
    result.analysis = collector.analysis(*result.sessionId);
    if (!result.analysis) result.problem = "the collector has no request of session " + *result.sessionId;
    if (const auto cause = wire_->lastFault("/player/report"); cause && !result.passed()) {
        result.problem = result.problem.value_or("the session fell short") +
                         "; the collector stopped answering: POST /player/report met " + *cause;
    }
}

QMDemoRunner::Result QMDemoRunner::run() {
    auto scenario = loadScenario();
    Result result{options_.scenarioPath,
                  QMDemoOptions::playerName(playerOf(playerKind(*scenario))),
                  "",
                  std::nullopt,
                  std::nullopt,
                  std::nullopt,
                  std::nullopt};
    auto playlist = servePlaylist(*scenario, result);
    auto collector = makeCollector();
    QMDemoSandbox sandbox;
    ProcessSettings restoreAtExit;
    routeConsole();
    loop_ = makeLoop();
    wire_ = std::make_shared<QMDemoWireWatch>(loop_->URLTransport());
    loop_->setURLTransport(wire_);
    QMRunLoop::setMainRunLoop(loop_);
    startCollector(*collector, result);
    play(scenario, *collector, result);
    // The connection caches of the loop and of the shared URL session go first: the servers
    // would otherwise wait for those kept-alive connections to time out before they stop.
    QMURLSession::sharedSession()->shutdown();
    QMRunLoop::setMainRunLoop(nullptr);
    loop_.reset();
    collector->stop();
    judge(*collector, result);
    return result;
}
