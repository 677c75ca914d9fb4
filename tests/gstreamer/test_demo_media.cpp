#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "demo/QMDemoRunner.h"
#include "demo/QMDemoSummaryPrinter.h"
#include "support/QMLeftoverCheckedTest.h"
#include "support/QMTestMediaServer.h"

namespace veyrakit {

// veyrakit-demo --media: real media played by the GStreamer backend in real time, monitored by the
// SDK, reported to the demo's embedded collector, judged like a scenario run.

using Json = nlohmann::ordered_json;

namespace {

class DemoMedia : public QMLeftoverCheckedTest {
  protected:
    void TearDown() override { expectNothingLeftBehind({}); }

    struct Outcome {
        QMDemoRunner::Result result;
        std::vector<std::string> lines;

        const Json& summary() const { return (*result.analysis)["summary"]; }
        std::string lineStarting(const std::string& prefix, const std::string& containing = "") const {
            auto it = std::find_if(lines.begin(), lines.end(), [&](const std::string& l) {
                return l.starts_with(prefix) && l.find(containing) != std::string::npos;
            });
            return it == lines.end() ? "" : *it;
        }
    };

    static Outcome run(const std::vector<std::string>& arguments) {
        std::ostringstream progress;
        Outcome outcome{QMDemoRunner(QMDemoOptions::parse(arguments), progress).run(), {}};
        std::istringstream text(progress.str());
        for (std::string line; std::getline(text, line);) outcome.lines.push_back(line);
        return outcome;
    }

    QMTestMediaServer media;
};

}  // namespace

TEST_F(DemoMedia, ALocalLadderIsServedOnLoopbackAndPlaysToTheEndWithEveryCheckPassed) {
    Outcome run = DemoMedia::run({"--media", media.directory()});

    ASSERT_TRUE(run.result.analysis) << run.result.problem.value_or("");
    EXPECT_TRUE(run.result.passed());
    EXPECT_EQ(run.result.player, "avplayer");
    ASSERT_TRUE(run.result.mediaURL);
    EXPECT_TRUE(run.result.mediaURL->starts_with("http://127.0.0.1:")) << *run.result.mediaURL;
    EXPECT_TRUE(run.result.mediaURL->ends_with("/master.m3u8")) << *run.result.mediaURL;
    EXPECT_EQ(run.result.toJSON()["media"], media.directory());
    EXPECT_EQ(run.result.toJSON()["scenario"], nullptr);
    for (const auto& check : (*run.result.analysis)["checks"])
        EXPECT_NE(check["status"], "failed") << check.dump();

    const Json& summary = run.summary();
    EXPECT_EQ(summary["state"], "completed");
    EXPECT_EQ(summary["durationSeconds"], 6);
    EXPECT_EQ(summary["errors"], 0);
    EXPECT_EQ(summary["asset"]["mediaUrl"], *run.result.mediaURL);
    EXPECT_NEAR(summary["playingTimeMs"].get<double>(), 6000, 400);
    EXPECT_EQ(summary["offeredBitrates"], Json::parse("[200000,160000,400000,320000,800000,640000]"));
    EXPECT_GT(summary["lastAccessLog"]["bytesTransferred"].get<int64_t>(), 0);

    // The progress lines of a scenario run, on the real clock.
    EXPECT_EQ(run.lines.front(), "Playing " + media.directory() + " served at " + *run.result.mediaURL +
                                     " (avplayer) with " +
                                     run.lines.front().substr(run.lines.front().find("embedded collector")));
    EXPECT_TRUE(run.lineStarting("+0:00.", "  init    ").ends_with("  -> session " + *run.result.sessionId));
    EXPECT_NE(run.lineStarting("+0:0", "  J       pulse "), "");
    EXPECT_TRUE(run.lines.back().starts_with("+0:")) << run.lines.back();
    EXPECT_TRUE(run.lines.back().ends_with(" completed")) << run.lines.back();
    const std::string table = QMDemoSummaryPrinter::summaryTable(*run.result.analysis);
    EXPECT_NE(table.find("\n  offered bitrates    200000, 160000, 400000, 320000, 800000, 640000\n"),
              std::string::npos)
        << table;
}

TEST_F(DemoMedia, AMasterPlaylistTheServerDoesNotHaveEndsTheSessionWithAPlaybackErrorReport) {
    // The 404 comes half a second late, so that the session has started when the item fails.
    media.remove("master.m3u8");
    media.delay("master.m3u8", 500);
    Outcome run = DemoMedia::run({"--media", media.url("master.m3u8")});

    ASSERT_TRUE(run.result.analysis) << run.result.problem.value_or("");
    EXPECT_EQ(run.result.mediaURL, media.url("master.m3u8"));
    const Json& summary = run.summary();
    EXPECT_EQ(summary["state"], "error");
    EXPECT_EQ(summary["errors"], 1);
    EXPECT_EQ(summary["completed"], false);
    EXPECT_EQ(summary["joinTimeMs"], nullptr);
    // The item fails before it loads: the session's start and first periodical report, then the
    // error report.
    EXPECT_EQ(nlohmann::json::parse(summary["reports"].dump()),
              nlohmann::json::parse(R"({"S":1,"P":1,"E":1,"retransmissions":0})"));
    EXPECT_TRUE(run.lines.back().starts_with("+0:")) << run.lines.back();
    EXPECT_TRUE(run.lines.back().ends_with("  E       pulse 3")) << run.lines.back();
    // The error log's entry reached the diagnostic stream before the session went.
    EXPECT_EQ(summary["diagnosticEventsByName"]["errorStatusCode"], 1);
    // The collector expects one duration report of every ended session; one whose item never
    // loaded has no duration to report, so that check (and with it the run) fails.
    std::vector<std::string> failed;
    for (const auto& check : (*run.result.analysis)["checks"]) {
        if (check["status"] == "failed") failed.push_back(check["name"]);
    }
    EXPECT_EQ(failed, std::vector<std::string>{"duration.once"});
    EXPECT_FALSE(run.result.passed());
}

TEST_F(DemoMedia, CtrlCEndsTheSessionCleanlyAndTheRunStillJudgesIt) {
    std::thread viewer([] {
        std::this_thread::sleep_for(std::chrono::milliseconds(2500));
        std::raise(SIGINT);
    });
    Outcome run = DemoMedia::run({"--media", media.directory()});
    viewer.join();

    ASSERT_TRUE(run.result.analysis) << run.result.problem.value_or("");
    EXPECT_NE(run.lineStarting("+0:0", "  interrupted: the viewer leaves the player"), "");
    const Json& summary = run.summary();
    // The app's stopPlayback: the last report is the completion, after about two seconds of play.
    EXPECT_EQ(summary["completed"], true);
    EXPECT_LT(summary["playingTimeMs"].get<int64_t>(), 4000);
    EXPECT_TRUE(run.result.passed());
    // The completion on the wire is the app's; the demo knows the viewer left.
    EXPECT_EQ(run.result.playbackLine(), "stopped by the viewer");
    EXPECT_EQ(run.result.toJSON()["playback"],
              Json::parse(R"({"ended":"stoppedByViewer","outcome":"stopped by the viewer","assetType":"VOD",)"
                          R"("error":null})"));
    // The handler is the process's previous one again: the run does not keep the signal.
    struct sigaction now {};
    sigaction(SIGINT, nullptr, &now);
    EXPECT_EQ(now.sa_handler, SIG_DFL);
}

TEST_F(DemoMedia, AFailureIsTheSameOutcomeWithItsCodeAndTextForBothPlayers) {
    media.remove("master.m3u8");
    media.delay("master.m3u8", 500);
    for (const char* player : {"avplayer", "mpmovieplayer"}) {
        Outcome run = DemoMedia::run({"--player", player, "--media", media.url("master.m3u8")});

        ASSERT_TRUE(run.result.analysis) << player;
        EXPECT_EQ(run.result.ended, "failed") << player;
        EXPECT_FALSE(run.result.passed()) << player;
        const std::string outcome = "failed: Not Found (AVFoundationErrorDomain -11850)";
        EXPECT_EQ(run.result.playbackLine(), outcome) << player;
        EXPECT_EQ(run.result.toJSON()["playback"]["error"],
                  Json::parse(R"({"domain":"AVFoundationErrorDomain","code":-11850,)"
                              R"("description":"Not Found"})"))
            << player;
        EXPECT_NE(run.lineStarting("+0:0", "  playback failed: Not Found (AVFoundationErrorDomain -11850)"),
                  "")
            << player << testing::PrintToString(run.lines);
        // The collector shows the error log's entry with its status and domain, where the player's
        // diagnostic stream posted before the session ended (a movie player's first post is a
        // second in: this one failed before).
        if (std::string(player) == "mpmovieplayer") continue;
        const Json& errors = run.summary()["playbackErrors"];
        ASSERT_FALSE(errors.empty()) << player;
        EXPECT_EQ(errors.front()["code"], 404) << player;
        EXPECT_EQ(errors.front()["domain"], "CoreMediaErrorDomain") << player;
        const std::string table = QMDemoSummaryPrinter::summaryTable(*run.result.analysis);
        EXPECT_NE(table.find("; last error: CoreMediaErrorDomain 404"), std::string::npos) << table;
    }
}

TEST_F(DemoMedia, ALivePlaylistIsAnnouncedAsLiveAndShowsNoDuration) {
    for (const char* variant : {"v0", "v1", "v2"}) {
        const std::string path = media.directory() + "/" + variant + "/index.m3u8";
        std::ifstream in(path);
        std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        in.close();
        text.erase(text.find("#EXT-X-ENDLIST"));
        text.erase(text.find("#EXT-X-PLAYLIST-TYPE:VOD\n"), 25);
        std::ofstream(path) << text;
    }
    std::thread viewer([] {
        std::this_thread::sleep_for(std::chrono::milliseconds(3500));
        std::raise(SIGINT);
    });
    Outcome run = DemoMedia::run({"--media", media.directory()});
    viewer.join();

    ASSERT_TRUE(run.result.analysis) << run.result.problem.value_or("");
    EXPECT_EQ(run.result.assetType, "LIVE");
    EXPECT_EQ(run.summary()["asset"]["assetType"], "LIVE");
    EXPECT_EQ(run.result.playbackLine(), "stopped by the viewer");
    const std::string table = QMDemoSummaryPrinter::summaryTable(*run.result.analysis);
    EXPECT_EQ(table.find("-2147483648"), std::string::npos) << table;
}

TEST_F(DemoMedia, TheMPMoviePlayerKindPlaysTheLocalLadderToItsFinishWithEveryCheckPassed) {
    const auto began = std::chrono::steady_clock::now();
    Outcome run = DemoMedia::run({"--player", "mpmovieplayer", "--media", media.directory()});
    const auto took = std::chrono::steady_clock::now() - began;

    ASSERT_TRUE(run.result.analysis) << run.result.problem.value_or("");
    EXPECT_TRUE(run.result.passed());
    EXPECT_EQ(run.result.player, "mpmovieplayer");
    ASSERT_TRUE(run.result.mediaURL);
    EXPECT_TRUE(run.result.mediaURL->ends_with("/master.m3u8")) << *run.result.mediaURL;
    for (const auto& check : (*run.result.analysis)["checks"])
        EXPECT_NE(check["status"], "failed") << check.dump();
    // The run waited for the player's finish at the end of the 6 s of media.
    EXPECT_GE(took, std::chrono::seconds(6));

    // The finish ends a movie player's session without a completion report: within its first
    // reporting interval, the start, one periodical report, the join and the duration.
    const Json& summary = run.summary();
    EXPECT_EQ(summary["plugin"], "iOS-MPMoviePlayerController");
    EXPECT_EQ(summary["state"], "ended");
    EXPECT_EQ(summary["completed"], false);
    EXPECT_EQ(nlohmann::json::parse(summary["reports"].dump()),
              nlohmann::json::parse(R"({"S":1,"P":1,"J":1,"D":1,"retransmissions":0})"));
    EXPECT_EQ(summary["durationSeconds"], 6);
    EXPECT_EQ(summary["errors"], 0);
    EXPECT_EQ(summary["asset"]["mediaUrl"], *run.result.mediaURL);

    EXPECT_EQ(run.lines.front(), "Playing " + media.directory() + " served at " + *run.result.mediaURL +
                                     " (mpmovieplayer) with " +
                                     run.lines.front().substr(run.lines.front().find("embedded collector")));
    EXPECT_TRUE(run.lineStarting("+0:00.", "  init    ").ends_with("  -> session " + *run.result.sessionId));
}

}  // namespace veyrakit
