#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <memory>
#include <string>

#include "gstreamer/QMCollectedReports.h"
#include "gstreamer/QMLoopbackCollector.h"
#include "support/QMFaultServer.h"
#include "support/QMTestMediaServer.h"

namespace veyrakit {

// Zero-code monitoring as a user tries it: GStreamer's own unmodified tools, with the plugin on
// GST_PLUGIN_PATH and the tracer named in GST_TRACERS, play ffmpeg-made media served on loopback
// and report to a collector the test started.

namespace {

struct ToolRun {
    int status = -1;
    std::string output;
};

// Runs `command` through the shell, stdout and stderr together.
ToolRun run(const std::string& command) {
    ToolRun result;
    FILE* pipe = popen((command + " 2>&1").c_str(), "r");
    if (!pipe) return result;
    char buffer[4096];
    while (const size_t n = std::fread(buffer, 1, sizeof buffer, pipe)) result.output.append(buffer, n);
    const int status = pclose(pipe);
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result;
}

class ZeroCodeTools : public ::testing::TestWithParam<const char*> {
  protected:
    void SetUp() override { collector = std::make_unique<QMLoopbackCollector>(); }
    void TearDown() override { collector->stop(); }

    // The environment that turns monitoring on, for the player kind of the test.
    std::string tracing(const std::string& server) const {
        return std::string("GST_PLUGIN_PATH=") + VEYRAKIT_GST_PLUGIN_DIR + " GST_TRACERS='veyrakit(" +
               collector->agentSettings(server) + ",player=" + GetParam() + ")'";
    }
    ToolRun launch(const std::string& uri) const {
        return run(tracing(collector->baseURL()) + " gst-launch-1.0 playbin3 uri=" + uri +
                   " video-sink='fakesink sync=true' audio-sink='fakesink sync=true'");
    }
    bool moviePlayer() const { return std::string(GetParam()) == "mpmovieplayer"; }
    std::string onlySession() const {
        const auto sessions = collector->store().sessions();
        EXPECT_EQ(sessions.size(), 1u);
        return sessions.empty() ? "" : sessions.front().sessionId;
    }
    // What the attached tests check of a playback to the end.
    void expectACompleteSession() const {
        const QMCollectedReports reports(*collector, onlySession());
        ASSERT_FALSE(reports.empty());
        const std::string types = reports.types();
        // The session start report comes once the server gave the session its id: a join or a
        // duration that came first is sent before it.
        EXPECT_NE(types.find('S'), std::string::npos) << types;
        EXPECT_NE(types.find('J'), std::string::npos) << types;
        EXPECT_NE(types.find('D'), std::string::npos) << types;
        EXPECT_NE(types.find('P'), std::string::npos) << types;
        // A movie player's finish sends no completion report.
        if (!moviePlayer()) {
            EXPECT_EQ(reports.last()["playbackCompleted"], true) << types;
        }
    }

    std::unique_ptr<QMLoopbackCollector> collector;
    QMTestMediaServer media;
};

TEST_P(ZeroCodeTools, GstLaunchPlayingALadderIsACompleteSessionWithTheLaddersBitrates) {
    const ToolRun launched = launch(media.url("master.m3u8"));
    EXPECT_EQ(launched.status, 0) << launched.output;
    expectACompleteSession();
    const QMCollectedReports reports(*collector, onlySession());
    const auto bitrates = reports.bitrates();
    EXPECT_FALSE(bitrates.empty());
    for (const int64_t bitrate : bitrates)
        EXPECT_TRUE(bitrate == 160000 || bitrate == 320000 || bitrate == 640000) << bitrate;
}

TEST_P(ZeroCodeTools, GstPlayPlayingAFileIsACompleteSession) {
    const ToolRun played = run(tracing(collector->baseURL()) +
                               " gst-play-1.0 --no-interactive --videosink='fakesink sync=true' "
                               "--audiosink='fakesink sync=true' " +
                               media.url("clip.mp4") + " < /dev/null");
    EXPECT_EQ(played.status, 0) << played.output;
    // The agent often hears of gst-play's pipeline once it already plays: the session is
    // complete all the same, join and duration included.
    expectACompleteSession();
}

TEST_P(ZeroCodeTools, AnHTTPErrorEndsTheSessionWithAnErrorReport) {
    media.remove("master.m3u8");
    const ToolRun launched = launch(media.url("master.m3u8"));
    EXPECT_NE(launched.status, 0) << launched.output;  // gst-launch reports the error itself
    // The item failed before its playback could start: the error report is the session's only.
    EXPECT_EQ(QMCollectedReports(*collector, onlySession()).types(), "E");
}

TEST_P(ZeroCodeTools, AnUnreachableCollectorChangesNothingInPlayback) {
    const ToolRun launched = run(tracing("http://127.0.0.1:" + std::to_string(QMFaultServer::closedPort())) +
                                 " gst-launch-1.0 playbin3 uri=" + media.url("clip.mp4") +
                                 " video-sink='fakesink sync=true' audio-sink='fakesink sync=true'");
    EXPECT_EQ(launched.status, 0) << launched.output;
    EXPECT_NE(launched.output.find("Got EOS from element"), std::string::npos) << launched.output;
}

TEST_P(ZeroCodeTools, ABadSettingIsOneWarningNamingItAndPlaybackGoesOnUnmonitored) {
    const ToolRun launched =
        run(std::string("GST_DEBUG=veyrakit:2 GST_DEBUG_NO_COLOR=1 GST_PLUGIN_PATH=") +
            VEYRAKIT_GST_PLUGIN_DIR + " GST_TRACERS='veyrakit(server=collector.example,player=" + GetParam() +
            ")' gst-launch-1.0 playbin3 uri=" + media.url("clip.mp4") +
            " video-sink=fakesink audio-sink=fakesink");
    EXPECT_EQ(launched.status, 0) << launched.output;
    EXPECT_NE(
        launched.output.find("veyrakit tracer: server: \"collector.example\" is not an http(s) URL; nothing "
                             "is monitored"),
        std::string::npos)
        << launched.output;
    EXPECT_NE(launched.output.find("Got EOS from element"), std::string::npos) << launched.output;
    EXPECT_TRUE(collector->store().sessions().empty());
}

INSTANTIATE_TEST_SUITE_P(BothKinds, ZeroCodeTools, ::testing::Values("avplayer", "mpmovieplayer"));

}  // namespace

}  // namespace veyrakit
