// The SDK on the host's GLib main loop (QMGLibRunLoopSource) against the same session on the
// SDK's own run loop: an AVPlayer model that plays (or stays paused) on its own, without a real
// player, monitored for 20 s of real time with 10 s reports and both diagnostic streams, over
// loopback. Counters:
//   sdk_cpu_ms       CPU of the loop's thread and the shared URL session's worker
//   wakeups_per_min  times the host's loop ran the SDK's work (GLib dispatches), or callbacks the
//                    SDK's own loop ran (timers and tasks): what an idle host is woken for
//   requests         requests the loopback server received
#include <benchmark/benchmark.h>
#include <glib.h>

#include <memory>

#include "QMBenchLoopbackServer.h"
#include "QMBenchTraffic.h"
#include "QMThreadClock.h"
#include "facade/QMMonitoringSessions.h"
#include "platform/QMConsole.h"
#include "platform/QMURLSession.h"
#include "veyrakit/QMDiagnosticCollectors.h"
#include "veyrakit/VeyraKit.h"
#include "veyrakit/gstreamer/QMGLibRunLoopSource.h"
#include "veyrakit/platform/QMRunLoop.h"
#include "veyrakit/platform/avfoundation/AVPlayer.h"

namespace veyrakit {

namespace {

constexpr int kSeconds = 20;

// A model that is ready and, unless `paused`, plays: its playhead moves on the loop's clock.
std::shared_ptr<AVPlayer> readyPlayer(const std::string& url, bool paused) {
    auto player = AVPlayer::playerWithURL(QMURL::URLWithString(url));
    const auto& item = player->currentItem();
    player->setStatus(AVPlayerStatusReadyToPlay);
    item->setStatus(AVPlayerItemStatusReadyToPlay);
    item->setDuration(CMTimeMake(3'600'000, 1000));
    item->setPlaybackBufferEmpty(false);
    item->setPlaybackLikelyToKeepUp(true);
    player->play();
    if (paused) player->pause();
    return player;
}

void BM_SessionOnTheHostsLoop(benchmark::State& state) {
    const bool hostLoop = state.range(0) != 0;
    const bool paused = state.range(1) != 0;
    QMConsole::setSink([](const std::string&) {});
    QMBenchTraffic traffic(10);
    QMBenchLoopbackServer collector(traffic);
    auto loop = std::make_shared<QMRunLoop>();
    QMRunLoop::setMainRunLoop(loop);
    QMDiagnosticCollectors::setSessionEventsURL(collector.baseURL() + "/sessionEventsHandler/sessions");
    QMDiagnosticCollectors::setDiagnosticEventsURL(collector.baseURL() + "/veyrakit/");
    const pid_t worker = QMThreadClock::URLSessionWorkerThreadId();
    const pid_t self = QMThreadClock::currentThreadId();

    double sdkMillis = 0;
    double wakeups = 0;
    for (auto _ : state) {
        const int64_t before = QMThreadClock::cpuNanos(self) + QMThreadClock::cpuNanos(worker);
        auto player = readyPlayer("http://media.example.invalid/vod/master.m3u8", paused);
        QMVeyraKit::pluginWithAVPlayer(player, "bench-asset", collector.baseURL(), "bench-customer", "VOD",
                                       "Bench", "bench-viewer", std::nullopt, std::nullopt);
        if (hostLoop) {
            GMainContext* context = g_main_context_new();
            GMainLoop* mainLoop = g_main_loop_new(context, FALSE);
            auto source = QMGLibRunLoopSource::attach(loop, context);
            GSource* end = g_timeout_source_new_seconds(kSeconds);
            g_source_set_callback(
                end,
                [](gpointer data) -> gboolean {
                    return g_main_loop_quit(static_cast<GMainLoop*>(data)), FALSE;
                },
                mainLoop, nullptr);
            g_source_attach(end, context);
            g_main_loop_run(mainLoop);
            wakeups += static_cast<double>(source->dispatchCount());
            QMVeyraKit::stopPlayback();
            source->drain(2'000);
            g_source_unref(end);
            source.reset();
            g_main_loop_unref(mainLoop);
            g_main_context_unref(context);
        } else {
            int64_t callbacks = 0;
            loop->setCallbackObserver([&](int64_t) { ++callbacks; });
            loop->runUntilDate(loop->nowMillis() + kSeconds * 1000);
            loop->setCallbackObserver(nullptr);
            wakeups += static_cast<double>(callbacks);
            QMVeyraKit::stopPlayback();
            loop->runUntil([&] { return loop->outsideWorkCount() == 0 && loop->transferCount() == 0; },
                           2'000);
        }
        sdkMillis +=
            static_cast<double>(QMThreadClock::cpuNanos(self) + QMThreadClock::cpuNanos(worker) - before) /
            1e6;
        QMMonitoringSessions::setCurrentAVPlayerMonitoringSession(nullptr);
    }
    QMURLSession::sharedSession()->shutdown();
    QMRunLoop::setMainRunLoop(nullptr);
    QMDiagnosticCollectors::setSessionEventsURL(std::nullopt);
    QMDiagnosticCollectors::setDiagnosticEventsURL(std::nullopt);
    QMConsole::setSink(nullptr);
    const auto runs = static_cast<double>(state.iterations());
    state.counters["sdk_cpu_ms"] = sdkMillis / runs;
    state.counters["wakeups_per_min"] = wakeups / runs * 60.0 / kSeconds;
    state.counters["requests"] = static_cast<double>(traffic.requests()) / runs;
}

}  // namespace

BENCHMARK(BM_SessionOnTheHostsLoop)
    ->ArgNames({"host_loop", "paused"})
    ->Args({0, 0})
    ->Args({1, 0})
    ->Args({0, 1})
    ->Args({1, 1})
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace veyrakit
