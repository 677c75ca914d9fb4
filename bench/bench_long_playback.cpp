// The SDK beside long real playback: the 1080p/720p/360p ladder of scripts/make-bench-media (ten
// minutes of real encoded motion, served on loopback) played in real time with 10 s reports and
// both diagnostic streams over loopback, in three ways:
//   mode 0  the backend's own pipeline and driver (AVPlayer kind), the SDK on its own run loop
//   mode 1  the app's playbin3 on the app's GLib main loop, monitored where it stands
//   mode 2  gst-launch-1.0 playbin3 with the veyrakit tracer (zero code), another process
// Threads are told apart by name and origin: the SDK's ("veyrakit-url", "veyrakit-agent", and in modes 0 and
// 1 the thread running the loop, which also runs the host's bus handling and the player models: an upper
// bound), the servers' (the media server and collector), gst-launch's own main thread (mode 2: the tool's
// work) and the player's (every other, GStreamer's). Counters, for the first 10 s (start-up: building the
// pipeline, the session start, the first segments) and the rest (steady):
//   sdk_start_ms, player_start_ms, sdk_steady_ms, player_steady_ms   CPU
//   sdk_steady_pct   sdk_steady_ms as a percentage of player_steady_ms
//   tool_ms, server_ms   the app's bus watch (mode 1) or the tool's main thread (mode 2), the
//                        loopback servers (modes 0 and 1)
// The media's length is VEYRAKIT_BENCH_MEDIA_SECONDS (600 unless set; a multiple of 20).
#include <benchmark/benchmark.h>
#include <gst/gst.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>

#include "QMBenchLoopbackServer.h"
#include "QMBenchTraffic.h"
#include "QMThreadClock.h"
#include "facade/QMMonitoringSessions.h"
#include "platform/QMConsole.h"
#include "platform/QMURLSession.h"
#include "support/QMTestMediaServer.h"
#include "veyrakit/QMDiagnosticCollectors.h"
#include "veyrakit/VeyraKit.h"
#include "veyrakit/gstreamer/QMGLibRunLoopSource.h"
#include "veyrakit/gstreamer/QMGStreamerAVPlayerDriver.h"
#include "veyrakit/gstreamer/QMGStreamerMonitor.h"
#include "veyrakit/platform/QMRunLoop.h"
#include "veyrakit/platform/avfoundation/AVPlayer.h"

namespace veyrakit {

namespace {

constexpr int kStartSeconds = 10;

// The ladder of scripts/make-bench-media, made once per length and kept in /tmp for later runs.
std::string benchLadder(int seconds) {
    const std::string dir = "/tmp/veyrakit-bench-ladder-" + std::to_string(seconds);
    // The master playlist is written last: its presence says the rest is complete.
    if (!std::filesystem::exists(dir + "/master.m3u8")) {
        const std::string command =
            std::string(VEYRAKIT_MAKE_BENCH_MEDIA) + " " + dir + " " + std::to_string(seconds);
        if (std::system(command.c_str()) != 0) throw std::runtime_error("failed: " + command);
    }
    return dir;
}

int mediaSeconds() {
    const char* text = std::getenv("VEYRAKIT_BENCH_MEDIA_SECONDS");
    return text ? std::atoi(text) : 600;
}

// CPU so far, split by whose it is.
struct Split {
    int64_t sdk = 0;
    int64_t player = 0;
    int64_t tool = 0;
    int64_t servers = 0;
};

struct Run {
    Split atStart;  // kStartSeconds after play was asked
    Split atEnd;
    bool played = false;
};

// The names the SDK gives its threads (the URL session's worker, the zero-code agent's loop). A
// thread otherwise carries its creator's name: in this process, "veyrakit-bench".
bool isSDKThread(const std::string& name) { return name == "veyrakit-url" || name == "veyrakit-agent"; }

// This process: the SDK is the loop's thread and the named threads; the servers are the threads
// that ran before the player was made and carry the process' name (GStreamer names its own, and
// keeps them in a pool from one pipeline to the next); the player is the rest, ended threads
// included.
class InProcess {
  public:
    InProcess() : loopThread_(QMThreadClock::currentThreadId()) {
        const auto threads = QMThreadClock::threadsOf(getpid());
        const std::string processName = threads.at(getpid());
        for (const auto& [tid, name] : threads) {
            if (name == processName && tid != loopThread_) servers_.insert(tid);
        }
    }
    Split now() const {
        Split split;
        split.sdk = QMThreadClock::cpuNanos(loopThread_);
        for (const auto& [tid, name] : QMThreadClock::threadsOf(getpid())) {
            if (isSDKThread(name)) split.sdk += QMThreadClock::cpuNanos(tid);
        }
        for (pid_t tid : servers_) split.servers += QMThreadClock::cpuNanos(tid);
        split.player = QMThreadClock::processCpuNanos() - split.sdk - split.servers;
        return split;
    }
    Split baseline() const { return baseline_; }
    void takeBaseline() { baseline_ = now(); }

  private:
    pid_t loopThread_;
    std::set<pid_t> servers_;
    Split baseline_;
};

Split minus(const Split& a, const Split& b) {
    return {a.sdk - b.sdk, a.player - b.player, a.tool - b.tool, a.servers - b.servers};
}

void pointDiagnostics(const std::string& collector) {
    QMDiagnosticCollectors::setSessionEventsURL(collector + "/sessionEventsHandler/sessions");
    QMDiagnosticCollectors::setDiagnosticEventsURL(collector + "/veyrakit/");
}

void leaveDiagnostics() {
    QMDiagnosticCollectors::setSessionEventsURL(std::nullopt);
    QMDiagnosticCollectors::setDiagnosticEventsURL(std::nullopt);
}

Run ownedPipeline(const std::string& media, const std::string& collector, int seconds) {
    auto loop = std::make_shared<QMRunLoop>();
    QMRunLoop::setMainRunLoop(loop);
    pointDiagnostics(collector);
    QMURLSession::sharedSession();  // its worker is the SDK's, not a server's
    InProcess threads;
    threads.takeBaseline();
    Run run;
    auto player = AVPlayer::playerWithURL(QMURL::URLWithString(media));
    QMVeyraKit::pluginWithAVPlayer(player, "bench-asset", collector, "bench-customer", "VOD", "Long ladder",
                                   "bench-viewer", std::nullopt, std::nullopt);
    auto driver = QMGStreamerAVPlayerDriver::driverWithPlayer(player);
    player->play();
    loop->runUntilDate(loop->nowMillis() + kStartSeconds * 1000);
    run.atStart = minus(threads.now(), threads.baseline());
    run.played = loop->runUntil([&] { return driver->isOver(); }, (seconds + 120) * int64_t{1000});
    run.atEnd = minus(threads.now(), threads.baseline());
    driver.reset();
    QMMonitoringSessions::setCurrentAVPlayerMonitoringSession(nullptr);
    loop->runUntil([&] { return loop->outsideWorkCount() == 0 && loop->transferCount() == 0; }, 2'000);
    QMURLSession::sharedSession()->shutdown();
    QMRunLoop::setMainRunLoop(nullptr);
    leaveDiagnostics();
    return run;
}

// The app of mode 1. Its bus watch runs on the loop's thread beside the SDK: its time is the
// app's (the tool's), not the SDK's.
struct AttachedApp {
    GMainLoop* mainLoop = nullptr;
    InProcess* threads = nullptr;
    Run* run = nullptr;
    int64_t busNanos = 0;
    Split split() const {
        Split now = minus(threads->now(), threads->baseline());
        now.tool = busNanos;
        now.sdk -= busNanos;
        return now;
    }
};

Run attachedPipeline(const std::string& media, const std::string& collector, int seconds) {
    gst_init(nullptr, nullptr);
    auto loop = std::make_shared<QMRunLoop>();
    QMRunLoop::setMainRunLoop(loop);
    pointDiagnostics(collector);
    QMURLSession::sharedSession();
    InProcess threads;
    threads.takeBaseline();
    Run run;
    // The app: its own playbin3, sinks and bus watch on the default GLib main context.
    GMainLoop* mainLoop = g_main_loop_new(nullptr, FALSE);
    auto source = QMGLibRunLoopSource::attach(loop);
    GstElement* playbin = gst_element_factory_make("playbin3", nullptr);
    g_object_set(playbin, "uri", media.c_str(), "video-sink",
                 gst_parse_bin_from_description("fakesink sync=true", TRUE, nullptr), "audio-sink",
                 gst_parse_bin_from_description("fakesink sync=true", TRUE, nullptr), nullptr);
    auto monitor = QMGStreamerMonitor::attach(
        playbin,
        {.player = QMGStreamerMonitor::PlayerKind::AVPlayer,
         .defaults = {.serverHost = collector, .qmrCID = "bench-customer", .viewerId = "bench-viewer"}});
    AttachedApp app{mainLoop, &threads, &run};
    GstBus* bus = gst_element_get_bus(playbin);
    const guint watch = gst_bus_add_watch(
        bus,
        [](GstBus*, GstMessage* message, gpointer data) -> gboolean {
            auto* self = static_cast<AttachedApp*>(data);
            const int64_t began = QMThreadClock::currentThreadCpuNanos();
            if (GST_MESSAGE_TYPE(message) == GST_MESSAGE_EOS) self->run->played = true;
            if (GST_MESSAGE_TYPE(message) == GST_MESSAGE_EOS ||
                GST_MESSAGE_TYPE(message) == GST_MESSAGE_ERROR) {
                g_main_loop_quit(self->mainLoop);
            }
            self->busNanos += QMThreadClock::currentThreadCpuNanos() - began;
            return TRUE;
        },
        &app);
    g_timeout_add_seconds(
        kStartSeconds,
        [](gpointer data) -> gboolean {
            auto* self = static_cast<AttachedApp*>(data);
            self->run->atStart = self->split();
            return FALSE;
        },
        &app);
    const guint limit = g_timeout_add_seconds(
        static_cast<guint>(seconds + 120),
        [](gpointer data) -> gboolean { return g_main_loop_quit(static_cast<GMainLoop*>(data)), FALSE; },
        mainLoop);
    gst_element_set_state(playbin, GST_STATE_PLAYING);
    g_main_loop_run(mainLoop);
    run.atEnd = app.split();
    g_source_remove(limit);
    monitor->detach();
    source->drain(2'000);
    gst_element_set_state(playbin, GST_STATE_NULL);
    g_source_remove(watch);
    gst_object_unref(bus);
    gst_object_unref(playbin);
    monitor.reset();
    source.reset();
    g_main_loop_unref(mainLoop);
    QMURLSession::sharedSession()->shutdown();
    QMRunLoop::setMainRunLoop(nullptr);
    leaveDiagnostics();
    return run;
}

// Another process: the SDK's threads by name, the tool's main thread, the player the rest.
Split childSplit(pid_t child, Split last) {
    const auto threads = QMThreadClock::threadsOf(child);
    if (threads.empty()) return last;  // gone meanwhile: its last reading stands
    Split split;
    for (const auto& [tid, name] : threads) {
        if (isSDKThread(name)) {
            split.sdk += QMThreadClock::cpuNanos(child, tid);
        } else if (tid == child) {
            split.tool = QMThreadClock::cpuNanos(child, tid);
        }
    }
    split.player = QMThreadClock::processCpuNanos(child) - split.sdk - split.tool;
    return split;
}

Run zeroCode(const std::string& media, const std::string& collector, int seconds) {
    const std::string port = collector.substr(collector.rfind(':') + 1);
    const std::string tracers = "veyrakit(server=" + collector + ",diag-ports=\"" + port + "," + port + "\")";
    const pid_t child = fork();
    if (child == 0) {
        setenv("GST_PLUGIN_PATH", VEYRAKIT_GST_PLUGIN_DIR, 1);
        setenv("GST_TRACERS", tracers.c_str(), 1);
        freopen("/dev/null", "w", stdout);
        freopen("/dev/null", "w", stderr);
        const std::string uri = "uri=" + media;
        execlp("gst-launch-1.0", "gst-launch-1.0", "-q", "playbin3", uri.c_str(),
               "video-sink=\"fakesink sync=true\"", "audio-sink=\"fakesink sync=true\"", nullptr);
        _exit(127);
    }
    Run run;
    Split last;
    const auto began = std::chrono::steady_clock::now();
    const auto elapsed = [&] { return std::chrono::steady_clock::now() - began; };
    bool startTaken = false;
    int status = 0;
    // Read twice a second: the last reading before the exit is the SDK's (its final half second
    // is not counted), while the player's total comes from the exit's own accounting.
    while (waitpid(child, &status, WNOHANG) == 0) {
        last = childSplit(child, last);
        if (!startTaken && elapsed() >= std::chrono::seconds(kStartSeconds)) {
            run.atStart = last;
            startTaken = true;
        }
        if (elapsed() > std::chrono::seconds(seconds + 120)) {
            kill(child, SIGTERM);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
    }
    run.played = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    run.atEnd = last;
    return run;
}

void BM_LongRealPlayback(benchmark::State& state) {
    const int seconds = mediaSeconds();
    QMTestMediaServer ladder(benchLadder(seconds));
    QMBenchTraffic traffic(10);
    QMBenchLoopbackServer collector(traffic);
    // The servers start their thread pools as they begin to listen: let them, so that their
    // threads are known as theirs.
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    QMConsole::setSink([](const std::string&) {});
    Run run;
    for (auto _ : state) {
        const std::string media = ladder.url("master.m3u8");
        switch (state.range(0)) {
            case 0:
                run = ownedPipeline(media, collector.baseURL(), seconds);
                break;
            case 1:
                run = attachedPipeline(media, collector.baseURL(), seconds);
                break;
            default:
                run = zeroCode(media, collector.baseURL(), seconds);
                break;
        }
    }
    QMConsole::setSink(nullptr);
    if (!run.played) state.SkipWithError("the playback did not reach its end");
    const Split steady = minus(run.atEnd, run.atStart);
    const auto ms = [](int64_t nanos) { return static_cast<double>(nanos) / 1e6; };
    state.counters["sdk_start_ms"] = ms(run.atStart.sdk);
    state.counters["player_start_ms"] = ms(run.atStart.player);
    state.counters["sdk_steady_ms"] = ms(steady.sdk);
    state.counters["player_steady_ms"] = ms(steady.player);
    state.counters["sdk_steady_pct"] = steady.player > 0 ? 100.0 * ms(steady.sdk) / ms(steady.player) : 0;
    state.counters["tool_ms"] = ms(run.atEnd.tool);
    state.counters["server_ms"] = ms(run.atEnd.servers);
    state.counters["requests"] = static_cast<double>(traffic.requests());
    state.counters["reports"] = static_cast<double>(traffic.periodicalReports());
}

}  // namespace

// Not in `make bench` (ten minutes of playback each): `make bench-long`.
BENCHMARK(BM_LongRealPlayback)
    ->ArgNames({"mode"})
    ->DenseRange(0, 2)
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace veyrakit
