// The SDK beside a real player: the GStreamer backend plays 16 s of real HLS (scripts/make-test-media,
// served on loopback) in real time on the real main loop, monitored by the SDK with 10 s reports
// and both diagnostic streams, reporting over loopback. Counters:
//   sdk_cpu_ms     CPU of the main loop's thread and the shared URL session's worker
//   player_cpu_ms  CPU of every other thread that ran meanwhile but the two loopback servers'
//                  (GStreamer's: demuxing, decoding, its queues and sinks)
//   server_cpu_ms  the loopback media server and collector
//   sdk_pct        sdk_cpu_ms as a percentage of player_cpu_ms
// The main loop also carries the backend's own model updates, so sdk_cpu_ms is an upper bound.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <map>
#include <memory>
#include <set>
#include <string>

#include "QMBenchLoopbackServer.h"
#include "QMBenchTraffic.h"
#include "QMThreadClock.h"
#include "facade/QMMonitoringSessions.h"
#include "platform/QMConsole.h"
#include "platform/QMURLSession.h"
#include "support/QMTestMediaServer.h"
#include "veyrakit/QMDiagnosticCollectors.h"
#include "veyrakit/VeyraKit.h"
#include "veyrakit/gstreamer/QMGStreamerAVPlayerDriver.h"
#include "veyrakit/platform/QMRunLoop.h"
#include "veyrakit/platform/avfoundation/AVPlayer.h"

namespace veyrakit {

namespace {

// Every thread of this process now.
std::set<pid_t> processThreads() {
    std::set<pid_t> tids;
    for (const auto& [tid, name] : QMThreadClock::threadsOf(getpid())) tids.insert(tid);
    return tids;
}

int64_t cpuOf(const std::set<pid_t>& tids) {
    int64_t sum = 0;
    for (pid_t tid : tids) {
        sum += QMThreadClock::cpuNanos(tid);
    }
    return sum;
}

void BM_BesideRealHLSPlayback(benchmark::State& state) {
    QMConsole::setSink([](const std::string&) {});
    QMTestMediaServer media(16);
    QMBenchTraffic traffic(10);
    QMBenchLoopbackServer collector(traffic);
    auto loop = std::make_shared<QMRunLoop>();
    QMRunLoop::setMainRunLoop(loop);
    QMDiagnosticCollectors::setSessionEventsURL(collector.baseURL() + "/sessionEventsHandler/sessions");
    QMDiagnosticCollectors::setDiagnosticEventsURL(collector.baseURL() + "/veyrakit/");

    const std::set<pid_t> sdk{QMThreadClock::currentThreadId(), QMThreadClock::URLSessionWorkerThreadId()};
    // Whatever runs before the player exists is a server's (or the benchmark library's, idle).
    std::set<pid_t> servers = processThreads();
    for (pid_t tid : sdk) {
        servers.erase(tid);
    }
    double sdkMillis = 0, playerMillis = 0, serverMillis = 0;
    for (auto _ : state) {
        const int64_t processBefore = QMThreadClock::processCpuNanos();
        const int64_t sdkBefore = cpuOf(sdk), serversBefore = cpuOf(servers);
        auto player = AVPlayer::playerWithURL(QMURL::URLWithString(media.url("master.m3u8")));
        QMVeyraKit::pluginWithAVPlayer(player, "bench-asset", collector.baseURL(), "bench-customer", "VOD",
                                       "Test pattern", "bench-viewer", std::nullopt, std::nullopt);
        auto driver = QMGStreamerAVPlayerDriver::driverWithPlayer(player);
        player->play();
        if (!loop->runUntil([&] { return driver->isOver(); }, 60'000)) {
            state.SkipWithError("the playback did not end");
        }
        const int64_t sdkNanos = cpuOf(sdk) - sdkBefore;
        const int64_t serverNanos = cpuOf(servers) - serversBefore;
        // GStreamer's threads may have ended already: the process' clock still holds their time.
        const int64_t playerNanos = QMThreadClock::processCpuNanos() - processBefore - sdkNanos - serverNanos;
        sdkMillis += static_cast<double>(sdkNanos) / 1e6;
        playerMillis += static_cast<double>(playerNanos) / 1e6;
        serverMillis += static_cast<double>(serverNanos) / 1e6;
        driver.reset();
        QMMonitoringSessions::setCurrentAVPlayerMonitoringSession(nullptr);
        loop->runUntil([&] { return loop->outsideWorkCount() == 0 && loop->transferCount() == 0; }, 2'000);
    }
    QMURLSession::sharedSession()->shutdown();
    QMRunLoop::setMainRunLoop(nullptr);
    QMDiagnosticCollectors::setSessionEventsURL(std::nullopt);
    QMDiagnosticCollectors::setDiagnosticEventsURL(std::nullopt);
    QMConsole::setSink(nullptr);
    const auto runs = static_cast<double>(state.iterations());
    state.counters["sdk_cpu_ms"] = sdkMillis / runs;
    state.counters["player_cpu_ms"] = playerMillis / runs;
    state.counters["server_cpu_ms"] = serverMillis / runs;
    state.counters["sdk_pct"] = playerMillis > 0 ? 100.0 * sdkMillis / playerMillis : 0;
    state.counters["reports"] = static_cast<double>(traffic.periodicalReports()) / runs;
    state.counters["requests"] = static_cast<double>(traffic.requests()) / runs;
}

}  // namespace

BENCHMARK(BM_BesideRealHLSPlayback)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace veyrakit
