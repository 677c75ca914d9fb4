#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "collector/QMCollectorServer.h"
#include "demo/QMDemoRunner.h"
#include "demo/QMDemoSummaryPrinter.h"
#include "support/QMLeftoverCheckedTest.h"

namespace veyrakit {

// The demo end to end: the simulated AVPlayer, the SDK through its facade, real HTTP to the
// reference collector on loopback, the collector's summary and checks.

using Json = nlohmann::ordered_json;

namespace {

// A run makes and drops its own loop; what it must not leave is a registration in the process.
class DemoRun : public QMLeftoverCheckedTest {
  protected:
    void TearDown() override { expectNothingLeftBehind({}); }
};

struct DemoOutcome {
    QMDemoRunner::Result result;
    std::vector<std::string> lines;  // progress, one per line

    const Json& summary() const { return (*result.analysis)["summary"]; }
    // The progress line that starts with `prefix`, or "" when there is none.
    std::string lineStarting(const std::string& prefix) const {
        auto it = std::find_if(lines.begin(), lines.end(),
                               [&](const std::string& l) { return l.starts_with(prefix); });
        return it == lines.end() ? "" : *it;
    }
    size_t requestLines() const {
        return std::count_if(lines.begin(), lines.end(),
                             [](const std::string& l) { return l.starts_with("+"); });
    }
};

DemoOutcome runDemo(QMDemoOptions options, const char* policy = nullptr) {
    std::ostringstream progress;
    QMDemoRunner runner(std::move(options), progress);
    if (policy) runner.setPolicy(QMCollectorPolicy::fromJSON(Json::parse(policy)));
    DemoOutcome run{runner.run(), {}};
    std::istringstream text(progress.str());
    for (std::string line; std::getline(text, line);) run.lines.push_back(line);
    return run;
}

// The bitrates of the periodical reports, each run of equal values once.
std::vector<int64_t> bitrateLadder(const Json& summary) {
    std::vector<int64_t> ladder;
    for (const auto& point : summary["bitrateTimeline"]) {
        if (ladder.empty() || ladder.back() != point["bitrate"]) ladder.push_back(point["bitrate"]);
    }
    return ladder;
}

const std::vector<std::string> kDiagnosticChecks{"sessionEvents.wellFormed",  "sessionEvents.sequence",
                                                 "sessionEvents.names",       "diagnosticEvents.wellFormed",
                                                 "diagnosticEvents.sequence", "diagnosticEvents.texts"};

bool isDiagnosticCheck(const std::string& name) {
    return std::find(kDiagnosticChecks.begin(), kDiagnosticChecks.end(), name) != kDiagnosticChecks.end();
}

// Every report check passed; no diagnostic check failed (a stream the session did not use leaves
// its checks not applicable).
void expectEveryCheckPassed(const Json& analysis) {
    std::vector<std::string> names;
    for (const auto& check : analysis["checks"]) {
        names.push_back(check["name"]);
        if (isDiagnosticCheck(names.back()))
            EXPECT_NE(check["status"], "failed") << check.dump();
        else
            EXPECT_EQ(check["status"], "passed") << check.dump();
    }
    std::vector<std::string> expected{"init.wellFormed", "session.known", "report.wellFormed",
                                      "values.types",    "pulse.gapFree", "periodical.sequence",
                                      "joinTime.once",   "duration.once", "completion.final"};
    expected.insert(expected.end(), kDiagnosticChecks.begin(), kDiagnosticChecks.end());
    EXPECT_EQ(names, expected);
}

// The status of each diagnostic check, in order.
std::vector<std::string> diagnosticStatuses(const Json& analysis) {
    std::vector<std::string> statuses;
    for (const auto& check : analysis["checks"]) {
        if (isDiagnosticCheck(check["name"])) statuses.push_back(check["status"]);
    }
    return statuses;
}

// What the default scenario must show however the server paces the reports: 1.8 s of join
// buffering, one 2.5 s stall after it, 180 s of content watched in 214.3 s, five switches.
void expectDefaultPlayback(const Json& summary) {
    EXPECT_EQ(summary["state"], "completed");
    EXPECT_EQ(summary["joinTimeMs"], 1800);
    EXPECT_EQ(summary["totalBufferingMs"], 2500);
    EXPECT_EQ(summary["playingTimeMs"], 180000);
    EXPECT_EQ(summary["elapsedTimeMs"], 214300);
    EXPECT_EQ(summary["durationSeconds"], 180);
    EXPECT_EQ(summary["bitrateSwitches"], 5);
    EXPECT_EQ(bitrateLadder(summary),
              (std::vector<int64_t>{400000, 800000, 1500000, 3000000, 1500000, 3000000}));
    EXPECT_EQ(summary["completed"], true);
    EXPECT_EQ(summary["errors"], 0);
}

}  // namespace

TEST_F(DemoRun, DefaultScenarioAgainstTheEmbeddedCollectorPassesEveryCheck) {
    DemoOutcome run = runDemo(QMDemoOptions::parse({}));

    ASSERT_TRUE(run.result.analysis) << run.result.problem.value_or("");
    EXPECT_TRUE(run.result.passed());
    EXPECT_EQ(run.result.player, "avplayer");
    EXPECT_EQ(run.result.scenario, QMDemoOptions::defaultScenarioPath());
    expectDefaultPlayback(run.summary());
    // The D and J reports leave at the same moment on two connections: their order may vary.
    EXPECT_EQ(nlohmann::json::parse(run.summary()["reports"].dump()),
              nlohmann::json::parse(R"({"S":1,"P":28,"D":1,"J":1,"retransmissions":0})"));
    // The only interval with buffering is the one holding the stall.
    auto intervals = run.summary()["intervalBufferingMs"].get<std::vector<int64_t>>();
    EXPECT_EQ(intervals.size(), 27u);  // the first report comes before the join and has none
    EXPECT_EQ(std::count(intervals.begin(), intervals.end(), 0), 26);
    EXPECT_EQ(std::count(intervals.begin(), intervals.end(), 2500), 1);
    expectEveryCheckPassed(*run.result.analysis);

    // One progress line per request, on the scenario's clock.
    EXPECT_TRUE(run.lines.front().starts_with("Playing " + QMDemoOptions::defaultScenarioPath() +
                                              " (avplayer) with embedded collector on http://127.0.0.1:"));
    EXPECT_EQ(run.requestLines(), 32u);
    // The scenario's master playlist, served on loopback at the media URL's path.
    ASSERT_TRUE(run.result.playlistURL);
    EXPECT_TRUE(run.result.playlistURL->starts_with("http://127.0.0.1:")) << *run.result.playlistURL;
    EXPECT_TRUE(run.result.playlistURL->ends_with("/vod/harbour-lights/master.m3u8"))
        << *run.result.playlistURL;
    EXPECT_EQ(run.summary()["asset"]["mediaUrl"], *run.result.playlistURL);
    EXPECT_EQ(run.lines[1], "+0:00.000  init    vod-default HLS " + *run.result.playlistURL +
                                "  -> session " + *run.result.sessionId);
    EXPECT_EQ(run.lines[2], "+0:00.000  S       pulse 1");
    EXPECT_EQ(run.lineStarting("+0:01.800  J"), "+0:01.800  J       pulse 4 joinTime=1800");
    EXPECT_EQ(
        run.lineStarting("+1:13.000"),
        "+1:13.000  P #12   pulse 15 bitrate=3000000 playing=1 buffering=2500/2500ms played=500/68700ms "
        "fullscreen=30500ms");
    // The player has paused at the end of the item by the time the end is announced.
    EXPECT_TRUE(
        run.lines.back().starts_with("+3:34.300  P #28   pulse 31 bitrate=3000000 playing=0 "
                                     "buffering=0/2500ms played=4300/180000ms"));
    EXPECT_TRUE(run.lines.back().ends_with(" completed"));

    const std::string table = QMDemoSummaryPrinter::summaryTable(*run.result.analysis);
    EXPECT_NE(table.find("\n  join time           1800 ms\n"), std::string::npos) << table;
    EXPECT_NE(
        table.find("\n  bitrate             400000 -> 800000 -> 1500000 -> 3000000 -> 1500000 -> 3000000 "
                   "(5 switches)\n"),
        std::string::npos)
        << table;
}

TEST_F(DemoRun, AThrottlingServerSkipsReportsWithoutBreakingTheSequence) {
    // The answer to the third periodical report asks the client to skip the next two.
    DemoOutcome run = runDemo(QMDemoOptions::parse({}), R"({"report":{"skipReports":[0,0,2,0]}})");

    ASSERT_TRUE(run.result.analysis) << run.result.problem.value_or("");
    EXPECT_TRUE(run.result.passed());
    expectDefaultPlayback(run.summary());
    EXPECT_EQ(run.summary()["reports"]["P"], 26);
    expectEveryCheckPassed(*run.result.analysis);
    // Skipped: the 0:20 tick and the 0:24 switch report. The switch then shows in the next report,
    // which still carries the bitrate of the period that ended at the switch.
    const auto skip = std::find_if(run.lines.begin(), run.lines.end(),
                                   [](const std::string& l) { return l.ends_with("  -> skipReports 2"); });
    ASSERT_NE(skip, run.lines.end());
    EXPECT_TRUE(skip->starts_with("+0:12.000  P #3    pulse 6 bitrate=400000")) << *skip;
    ASSERT_NE(skip + 1, run.lines.end());
    EXPECT_TRUE(skip[1].starts_with("+0:30.000  P #4    pulse 7 bitrate=800000 ")) << skip[1];
}

TEST_F(DemoRun, ARefusedSessionFailsTheRunWithoutAnAnalysis) {
    DemoOutcome run = runDemo(QMDemoOptions::parse({}), R"({"init":{"refuse":true}})");

    EXPECT_FALSE(run.result.passed());
    EXPECT_FALSE(run.result.sessionId);
    EXPECT_FALSE(run.result.analysis);
    EXPECT_EQ(
        run.result.problem,
        "the monitoring plugin got no session id: POST /player/init met the server answered skipReports -1");
    EXPECT_EQ(run.requestLines(), 1u);
    EXPECT_TRUE(run.lines[1].ends_with("  -> skipReports -1")) << run.lines[1];
    EXPECT_EQ(run.result.toJSON()["passed"], false);
}

TEST_F(DemoRun, AnExternalCollectorIsFollowedThroughItsApi) {
    QMCollectorServer::Options options;
    options.port = options.diagnosticEventsPort = options.sessionEventsPort = 0;
    options.databasePath = ":memory:";
    QMCollectorServer collector(options);
    collector.start();

    DemoOutcome run = runDemo(
        QMDemoOptions::parse({"--server", collector.baseURL() + "/", "--speed", "1000", "--diag-ports",
                              std::to_string(collector.diagnosticEventsPort()) + "," +
                                  std::to_string(collector.sessionEventsPort())}));

    ASSERT_TRUE(run.result.analysis) << run.result.problem.value_or("");
    EXPECT_TRUE(run.result.passed());
    EXPECT_EQ(run.result.server, collector.baseURL());
    EXPECT_EQ(run.lines.front(), "Playing " + QMDemoOptions::defaultScenarioPath() +
                                     " (avplayer) with collector at " + collector.baseURL());
    expectDefaultPlayback(run.summary());
    expectEveryCheckPassed(*run.result.analysis);
    // Every request of the session but the diagnostic posts, fetched from the collector's store,
    // printed once.
    auto requests = collector.store().requestsOfSession(*run.result.sessionId);
    EXPECT_EQ(run.requestLines(), std::count_if(requests.begin(), requests.end(), [](const auto& request) {
                  return request.endpoint == QMCollectorEndpoint::Init ||
                         request.endpoint == QMCollectorEndpoint::Report;
              }));
    EXPECT_EQ(run.requestLines(), 32u);
}

// A scenario of scenarios/, beside the default one.
static std::string exampleScenario(const std::string& name) {
    return (std::filesystem::path(QMDemoOptions::defaultScenarioPath()).parent_path() / name).string();
}

TEST_F(DemoRun, TheMPMoviePlayerScenarioEndsAtThePlayersFinishWithEveryCheckPassed) {
    DemoOutcome run = runDemo(QMDemoOptions::parse({"--player", "mpmovieplayer"}));

    ASSERT_TRUE(run.result.analysis) << run.result.problem.value_or("");
    EXPECT_TRUE(run.result.passed());
    EXPECT_EQ(run.result.player, "mpmovieplayer");
    EXPECT_EQ(run.result.scenario, QMDemoOptions::defaultScenarioPath(QMDemoOptions::Player::MPMoviePlayer));
    expectEveryCheckPassed(*run.result.analysis);
    const Json& summary = run.summary();
    EXPECT_EQ(summary["plugin"], "iOS-MPMoviePlayerController");
    EXPECT_EQ(summary["state"], "ended");
    EXPECT_EQ(summary["completed"], false);
    EXPECT_EQ(summary["joinTimeMs"], 2000);
    EXPECT_EQ(summary["totalBufferingMs"], 3000);
    EXPECT_EQ(summary["durationSeconds"], 120);
    EXPECT_EQ(nlohmann::json::parse(summary["reports"].dump()),
              nlohmann::json::parse(R"({"S":1,"P":13,"D":1,"J":1,"retransmissions":0})"));
    // The movie player's playing flag is a boolean; its finish has a line of its own.
    EXPECT_EQ(run.lineStarting("+0:43.000"),
              "+0:43.000  P #7    pulse 10 bitrate=1500000 playing=true buffering=3000/3000ms played=?/?ms "
              "fullscreen=20000ms");
    EXPECT_EQ(run.lineStarting("+1:40.000  finish"),
              "+1:40.000  finish reason 0 (playback ended): the session ended, nothing is sent for it");
    const std::string table = QMDemoSummaryPrinter::summaryTable(*run.result.analysis);
    EXPECT_NE(table.find("\n  outcome             ended at the player's finish (a movie player sends no "
                         "completion report); 0 playback errors, 0 fault reports\n"),
              std::string::npos)
        << table;
}

TEST_F(DemoRun, AnMPMoviePlayerStallAcrossAReportAndAPlaybackErrorPassEveryCheck) {
    DemoOutcome stall =
        runDemo(QMDemoOptions::parse({"--scenario", exampleScenario("mpmovieplayer-stall.scenario")}));
    ASSERT_TRUE(stall.result.analysis) << stall.result.problem.value_or("");
    EXPECT_TRUE(stall.result.passed());
    expectEveryCheckPassed(*stall.result.analysis);
    // The report inside the stall: the interval's share of buffering, and no playing time; the
    // recovery's report: the stall counted as current playing time, the total standing still.
    EXPECT_EQ(
        stall.lineStarting("+0:30.000"),
        "+0:30.000  P #5    pulse 8 bitrate=1500000 playing=true buffering=3000/3000ms played=0/23000ms "
        "fullscreen=17000ms");
    EXPECT_EQ(
        stall.lineStarting("+0:34.000"),
        "+0:34.000  P #6    pulse 9 bitrate=1500000 playing=true buffering=4000/7000ms played=4000/23000ms "
        "fullscreen=17000ms");
    EXPECT_EQ(stall.summary()["state"], "ended");
    EXPECT_EQ(stall.summary()["totalBufferingMs"], 7000);

    DemoOutcome error =
        runDemo(QMDemoOptions::parse({"--scenario", exampleScenario("mpmovieplayer-error.scenario")}));
    ASSERT_TRUE(error.result.analysis) << error.result.problem.value_or("");
    EXPECT_TRUE(error.result.passed());
    expectEveryCheckPassed(*error.result.analysis);
    EXPECT_EQ(error.summary()["state"], "error");
    EXPECT_EQ(error.summary()["errors"], 1);
    EXPECT_EQ(error.lineStarting("+0:52.000  E"), "+0:52.000  E       pulse 11");
    EXPECT_EQ(
        error.lineStarting("+0:52.000  finish"),
        "+0:52.000  finish reason 1 (playback error): the session ended after its playback error report");
}

// A server error with no comment leaves the comment out of its session event: no check may
// take that for a fault.
TEST_F(DemoRun, AnAVPlayerServerErrorWithoutACommentPassesEveryCheck) {
    DemoOutcome run =
        runDemo(QMDemoOptions::parse({"--scenario", exampleScenario("avplayer-server-error.scenario")}));
    ASSERT_TRUE(run.result.analysis) << run.result.problem.value_or("");
    EXPECT_TRUE(run.result.passed());
    expectEveryCheckPassed(*run.result.analysis);
    EXPECT_EQ(diagnosticStatuses(*run.result.analysis),
              (std::vector<std::string>{"passed", "passed", "passed", "notApplicable", "notApplicable",
                                        "notApplicable"}));
    EXPECT_EQ(run.summary()["state"], "completed");
    EXPECT_EQ(run.summary()["diagnosticEventsByName"]["errorComment"], 3);
    EXPECT_EQ(run.summary()["diagnosticEventsByName"]["errorDomain"], 2);
}

// The two diagnostic streams end to end: these need the SDK's AVPlayer diagnostic reporter and
// movie player diagnostic handler, which post to the collector URLs the demo sets.
TEST_F(DemoRun, TheDefaultScenarioShowsTheSessionEventStreamWithTheServedLadder) {
    DemoOutcome run = runDemo(QMDemoOptions::parse({}));

    ASSERT_TRUE(run.result.analysis) << run.result.problem.value_or("");
    EXPECT_TRUE(run.result.passed());
    const Json& summary = run.summary();
    EXPECT_GT(summary["diagnosticPosts"].get<int64_t>(), 0);
    EXPECT_GE(summary["diagnosticEvents"].get<int64_t>(), summary["diagnosticPosts"].get<int64_t>());
    EXPECT_EQ(summary["diagnosticEventsByName"].value("init", 0), 1);
    // Each variant line carries BANDWIDTH and AVERAGE-BANDWIDTH, and the reader takes both.
    EXPECT_EQ(summary["offeredBitrates"],
              Json::parse("[400000,320000,800000,640000,1500000,1200000,3000000,2400000]"));
    EXPECT_EQ(summary["offeredResolutions"],
              Json::parse(R"([{"width":640,"height":360},{"width":960,"height":540},)"
                          R"({"width":1280,"height":720},{"width":1920,"height":1080}])"));
    EXPECT_EQ(summary["lastAccessLog"]["indicatedBitrate"], 3000000);
    EXPECT_EQ(diagnosticStatuses(*run.result.analysis),
              (std::vector<std::string>{"passed", "passed", "passed", "notApplicable", "notApplicable",
                                        "notApplicable"}));
    // No diagnostic post among the progress lines: the summary shows the stream.
    EXPECT_EQ(run.requestLines(), 32u);

    const std::string table = QMDemoSummaryPrinter::summaryTable(*run.result.analysis);
    EXPECT_NE(
        table.find("\n  diagnostics         " + summary["diagnosticPosts"].dump() + " posts, " +
                   summary["diagnosticEvents"].dump() + " events; diagnostic checks 3 passed, 0 failed\n"),
        std::string::npos)
        << table;
    EXPECT_NE(table.find("\n  offered bitrates    400000, 320000, 800000, 640000, 1500000, 1200000, 3000000, "
                         "2400000\n  offered resolutions 640x360, 960x540, 1280x720, 1920x1080\n"),
              std::string::npos)
        << table;
    EXPECT_TRUE(QMDemoSummaryPrinter::checkList(*run.result.analysis)
                    .ends_with("\n15 checks: 12 passed, 0 failed, 3 pending or not applicable\n"));
}

TEST_F(DemoRun, TheMPMoviePlayerScenarioShowsTheDiagnosticEventStream) {
    DemoOutcome run = runDemo(QMDemoOptions::parse({"--player", "mpmovieplayer"}));

    ASSERT_TRUE(run.result.analysis) << run.result.problem.value_or("");
    EXPECT_TRUE(run.result.passed());
    const Json& summary = run.summary();
    // The handler's posts name no session: the collector found this one by asset and customer.
    EXPECT_GT(summary["diagnosticPosts"].get<int64_t>(), 0);
    EXPECT_GE(summary["diagnosticEvents"].get<int64_t>(), summary["diagnosticPosts"].get<int64_t>());
    EXPECT_EQ(summary["offeredBitrates"], nullptr);
    EXPECT_EQ(diagnosticStatuses(*run.result.analysis),
              (std::vector<std::string>{"notApplicable", "notApplicable", "notApplicable", "passed", "passed",
                                        "passed"}));
    const std::string table = QMDemoSummaryPrinter::summaryTable(*run.result.analysis);
    EXPECT_NE(table.find(" events; diagnostic checks 3 passed, 0 failed\n  offered bitrates    -\n"),
              std::string::npos)
        << table;
}

}  // namespace veyrakit
