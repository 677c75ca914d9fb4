#include "demo/QMDemoRunner.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <future>
#include <iostream>
#include <thread>
#include <utility>

#include "demo/QMDemoEmbeddedCollector.h"
#include "demo/QMDemoError.h"
#include "demo/QMDemoInterruption.h"
#include "demo/QMDemoPlayback.h"
#include "demo/QMDemoPlaylist.h"
#include "demo/QMDemoPlaylistServer.h"
#include "demo/QMDemoRemoteCollector.h"
#include "demo/QMDemoSandbox.h"
#include "demo/QMDemoStreamType.h"
#include "demo/QMPacedRunLoop.h"
#include "platform/QMConsole.h"
#include "platform/QMURLRequest.h"
#include "platform/QMURLSession.h"
#include "simulator/QMScenarioException.h"
#include "simulator/QMScenarioParser.h"
#include "veyrakit/QMDiagnosticCollectors.h"
#include "veyrakit/platform/QMTimer.h"
#include "veyrakit/platform/QMURL.h"

namespace veyrakit {

namespace {

using Json = nlohmann::ordered_json;

// Slack beyond the scenario's own length: retries, throttling and the last interval.
constexpr int64_t kScenarioSlackMillis = int64_t{10} * 60 * 1000;
constexpr int64_t kRealSlackMillis = int64_t{60} * 1000;
constexpr int64_t kFlatOutRealBudgetMillis = int64_t{2} * 60 * 1000;
constexpr int64_t kDrainMillis = int64_t{10} * 1000;
// Real media plays until it ends, fails or is interrupted; this only bounds a run left alone.
constexpr int64_t kMediaBudgetMillis = int64_t{24} * 60 * 60 * 1000;
// How soon a Ctrl-C is noticed while the loop has nothing else to do.
constexpr double kInterruptionCheckSeconds = 0.2;

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

// The body at `url` (for a look at the media before its session starts); nothing unless it
// answered 200 within a few seconds.
std::optional<std::string> fetchText(const std::string& url) {
    auto request = QMURLRequest::requestWithURL(QMURL::URLWithString(url));
    request->setTimeoutInterval(5.0);
    auto answer = std::make_shared<std::promise<std::optional<std::string>>>();
    auto body = answer->get_future();
    QMURLSession::sharedSession()
        ->dataTaskWithRequest(request,
                              [answer](const std::optional<std::string>& data,
                                       const std::shared_ptr<QMHTTPURLResponse>& response,
                                       const std::shared_ptr<QMError>& error) {
                                  const bool read = !error && response && response->statusCode() == 200;
                                  answer->set_value(read ? data : std::nullopt);
                              })
        ->resume();
    return body.get();
}

// The diagnostic streams post once a second; their figures are in the summary.
bool isDiagnosticPost(const nlohmann::ordered_json& request) {
    const auto endpoint = request.value("endpoint", std::string());
    return endpoint == "sessionEvents" || endpoint == "diagnosticEvents";
}

}  // namespace

bool QMDemoRunner::Result::passed() const {
    // Media that failed to play fails the run, whichever the player.
    if (problem || !analysis || ended == "failed") return false;
    for (const auto& check : analysis->value("checks", Json::array())) {
        if (check.value("status", "") == "failed") return false;
    }
    return analysis->value("passed", false);
}

nlohmann::ordered_json QMDemoRunner::Result::toJSON() const {
    Json json{{"scenario", media ? Json() : Json(scenario)},
              {"media", media ? Json(*media) : Json()},
              {"mediaURL", mediaURL ? Json(*mediaURL) : Json()},
              {"player", player},
              {"server", server},
              {"sessionId", sessionId ? Json(*sessionId) : Json()},
              {"playlistURL", playlistURL ? Json(*playlistURL) : Json()},
              {"passed", passed()}};
    if (problem) json["problem"] = *problem;
    if (ended) {
        Json error;
        if (failure) {
            error = {{"domain", failure->domain()},
                     {"code", failure->code()},
                     {"description", failure->localizedDescription()}};
        }
        json["playback"] = {{"ended", *ended},
                            {"outcome", playbackLine()},
                            {"assetType", assetType ? Json(*assetType) : Json()},
                            {"error", error}};
    }
    if (analysis) {
        for (const char* key : {"state", "violations", "summary", "checks"}) {
            if (analysis->contains(key)) json[key] = (*analysis)[key];
        }
    }
    return json;
}

std::string QMDemoRunner::Result::playbackLine() const {
    if (ended == "failed" && failure) {
        return "failed: " + failure->localizedDescription() + " (" + failure->domain() + " " +
               std::to_string(failure->code()) + ")";
    }
    if (ended == "stoppedByViewer") return "stopped by the viewer";
    if (ended == "playedToEnd") return "played to the end";
    return "not over";
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

void QMDemoRunner::installLoop(std::shared_ptr<QMRunLoop> loop) {
    // Every exchange passes the wire watch, so that a run that falls short can say why.
    loop_ = std::move(loop);
    wire_ = std::make_shared<QMDemoWireWatch>(loop_->URLTransport());
    loop_->setURLTransport(wire_);
    QMRunLoop::setMainRunLoop(loop_);
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

void QMDemoRunner::startCollector(QMDemoCollector& collector, Result& result, const std::string& played) {
    // The observer reads the clock without keeping the loop (and the connections it caches) alive.
    collector.start([this, clock = std::weak_ptr<QMRunLoop>(loop_)](const Json& request) {
        if (isDiagnosticPost(request) && !options_.verbose) return;
        progress_.printRequest(request, sessionMillis(request, clock.lock()));
    });
    result.server = collector.baseURL();
    progress_.printNote("Playing " + played + " (" + result.player + ") with " + collector.description());
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

namespace {

volatile std::sig_atomic_t interrupted = 0;

}  // namespace

void QMDemoRunner::serveUntilInterrupted() {
    if (!keptCollector_) return;
    interrupted = 0;
    auto onSignal = [](int) { interrupted = 1; };
    std::signal(SIGINT, onSignal);
    std::signal(SIGTERM, onSignal);
    while (interrupted == 0) std::this_thread::sleep_for(std::chrono::milliseconds(100));
    std::signal(SIGINT, SIG_DFL);
    std::signal(SIGTERM, SIG_DFL);
    keptCollector_->stop();
    keptCollector_.reset();
}

void QMDemoRunner::closeDown(std::unique_ptr<QMDemoCollector>& collector, Result& result) {
    // The connection caches of the loop and of the shared URL session go first: the servers
    // would otherwise wait for those kept-alive connections to time out before they stop.
    QMURLSession::sharedSession()->shutdown();
    QMRunLoop::setMainRunLoop(nullptr);
    loop_.reset();
    if (!options_.keepServing) collector->stop();
    judge(*collector, result);
    result.dashboardURL =
        collector->dashboardURL() + (result.sessionId ? "sessions/" + *result.sessionId : "");
    if (options_.keepServing) keptCollector_ = std::move(collector);
}

QMDemoRunner::Result QMDemoRunner::run() {
    if (options_.media) return runMedia();
    auto scenario = loadScenario();
    Result result;
    result.scenario = options_.scenarioPath;
    result.player = QMDemoOptions::playerName(playerOf(playerKind(*scenario)));
    auto playlist = servePlaylist(*scenario, result);
    auto collector = makeCollector();
    QMDemoSandbox sandbox;
    ProcessSettings restoreAtExit;
    routeConsole();
    installLoop(makeLoop());
    startCollector(*collector, result, options_.scenarioPath);
    play(scenario, *collector, result);
    closeDown(collector, result);
    return result;
}

std::unique_ptr<QMDemoMediaServer> QMDemoRunner::serveMedia(Result& result) const {
    if (QMDemoMediaServer::isURL(*options_.media)) {
        result.mediaURL = *options_.media;
        return nullptr;
    }
    auto server = std::make_unique<QMDemoMediaServer>(*options_.media);
    server->start();
    result.mediaURL = server->url();
    return server;
}

QMDemoMediaPlayback::Settings QMDemoRunner::mediaSettings(const Result& result,
                                                          const QMDemoCollector& collector) const {
    // Named after what was asked for: the ladder's directory or the file, without its ending.
    const std::filesystem::path asked(
        QMDemoMediaServer::isURL(*result.media) ? QMDemoPlaylist::pathOf(*result.media) : *result.media);
    std::string name = asked.stem().string();
    if (name.empty() || name == "master" || name == "index") name = asked.parent_path().filename().string();
    if (name.empty()) name = "media";
    auto metadata = [](const std::string& key, const std::string& value) {
        return QMCustomMetadataArray{
            std::make_shared<QMCustomMetadata>(key, std::vector<std::string>{value})};
    };
    return {*result.mediaURL,
            result.server,
            collector.sessionEventsURL(),
            collector.diagnosticEventsURL(),
            name,
            "VeyraKit demo: " + name,
            result.assetType.value_or("VOD"),
            metadata("media", *result.media),
            metadata("app", "veyrakit-demo")};
}

QMDemoRunner::Result QMDemoRunner::runMedia() {
    const QMDemoOptions::Player kind = options_.player.value_or(QMDemoOptions::Player::AVPlayer);
    Result result;
    result.player = QMDemoOptions::playerName(kind);
    result.media = *options_.media;
    auto server = serveMedia(result);
    // Before the collector starts: a build that cannot play the kind says so at once.
    auto playback = QMDemoMediaPlayback::make(kind);
    auto collector = makeCollector();
    QMDemoSandbox sandbox;
    ProcessSettings restoreAtExit;
    routeConsole();
    installLoop(std::make_shared<QMRunLoop>());
    const bool served = server != nullptr;
    startCollector(*collector, result,
                   served ? *result.media + " served at " + *result.mediaURL : *result.mediaURL);
    playMedia(*playback, *collector, result);
    playback.reset();
    closeDown(collector, result);
    return result;
}

void QMDemoRunner::notePlaybackEnd(const QMDemoMediaPlayback& playback, bool stoppedByViewer,
                                   Result& result) {
    if (!playback.mediaOver()) return;
    result.failure = playback.failure();
    result.ended = result.failure ? "failed" : stoppedByViewer ? "stoppedByViewer" : "playedToEnd";
}

void QMDemoRunner::playMedia(QMDemoMediaPlayback& playback, QMDemoCollector& collector, Result& result) {
    QMDemoInterruption interruption;
    scenarioStartMillis_ = loop_->nowMillis();
    scenarioStartWallMillis_ = wallMillis();
    result.assetType = QMDemoStreamType::assetTypeOf(*result.mediaURL, fetchText);
    playback.start(mediaSettings(result, collector));
    // Wakes the loop now and then, so that a Ctrl-C is seen even when nothing else happens.
    auto watch = QMTimer::scheduledTimerWithTimeInterval(
        kInterruptionCheckSeconds, [](QMTimer&) {}, true);
    bool following = false;
    bool left = false;
    bool stoppedByViewer = false;
    loop_->runUntil(
        [&] {
            if (auto sessionId = playback.sessionId(); sessionId && !following) {
                collector.followSession(*sessionId);
                following = true;
            }
            if (!left && interruption.requested()) {
                progress_.printNote(
                    QMDemoProgressPrinter::sessionClock(loop_->nowMillis() - scenarioStartMillis_) +
                    "  interrupted: the viewer leaves the player");
            }
            // Like an app whose player has nothing more to show, or whose viewer left.
            if (!left && (playback.mediaOver() || interruption.requested())) {
                stoppedByViewer = !playback.mediaOver();
                if (const auto failure = playback.failure()) {
                    progress_.printNote(
                        QMDemoProgressPrinter::sessionClock(loop_->nowMillis() - scenarioStartMillis_) +
                        "  playback failed: " + failure->localizedDescription() + " (" + failure->domain() +
                        " " + std::to_string(failure->code()) + ")");
                }
                playback.leave();
                left = true;
            }
            return playback.isOver();
        },
        kMediaBudgetMillis);
    watch->invalidate();
    if (!playback.isOver()) result.problem = "the session had not ended when the run gave up on it";
    notePlaybackEnd(playback, stoppedByViewer, result);
    result.sessionId = playback.sessionId();
    playback.finish();
    loop_->runUntil([&] { return loop_->transferCount() == 0 && loop_->outsideWorkCount() == 0; },
                    kDrainMillis);
}

}  // namespace veyrakit
