// What a monitored session costs the SDK, on the virtual loop with stubbed URL loading (only the
// SDK and the simulator run) and over real loopback HTTP. Each benchmark plays one whole session
// (and the same session unmonitored, for the baseline); the figures are its counters:
//   sdk_cpu_ms_h   SDK CPU (main loop + URL worker) per monitored hour, minus the baseline
//   url_cpu_ms_h   of which the shared URL session's worker thread
//   rep_p50_us     main-loop time at a periodical report's instant, median and 99th percentile
//   rep_p99_us
//   pass_p99_us    one loop pass (the callbacks due at one instant), 99th percentile and maximum
//   pass_max_us
//   alloc_rep      heap allocations at a periodical report's instant (median)
//   alloc_intv     the SDK's heap allocations per reporting interval, all of them
//   heap_hwm_KiB   heap high-water mark above the heap before the plugin was made
//   heap_grow_KiB  heap in use at the end minus after the first hour (0 for a flat heap)
//   sdk_grow_KiB   of which the SDK's: heap_grow_KiB minus the unmonitored run's growth (the
//                  player's own access and error logs grow by an entry per switch)
//   bytes_h        request bytes (request line, headers, body) per hour
//   conns          TCP connections the loopback server accepted
//   sdk_us_req     the SDK's CPU over the requests it sent
//   floor_us_req   the same requests from a bare libcurl loop on one kept-alive connection, the
//                  client's CPU per request (loopback only)
//   x_floor        sdk_us_req over floor_us_req
#include <benchmark/benchmark.h>

#include "QMSessionMeasurement.h"

namespace veyrakit {

namespace {

void publish(benchmark::State& state, const QMSessionFigures& figures, bool loopback) {
    state.counters["sdk_cpu_ms_h"] = figures.sdkCpuMillisPerHour;
    state.counters["url_cpu_ms_h"] = figures.workerCpuMillisPerHour;
    state.counters["sim_cpu_ms_h"] = figures.simulatorCpuMillisPerHour;
    state.counters["rep_p50_us"] = figures.reportMedianMicros;
    state.counters["rep_p99_us"] = figures.reportP99Micros;
    state.counters["pass_p99_us"] = figures.passP99Micros;
    state.counters["pass_max_us"] = figures.passMaxMicros;
    state.counters["alloc_rep"] = figures.allocationsPerReport;
    state.counters["alloc_intv"] = figures.allocationsPerInterval;
    state.counters["heap_hwm_KiB"] = figures.heapHighWaterKiB;
    state.counters["heap_grow_KiB"] = figures.heapGrowthKiB;
    state.counters["sdk_grow_KiB"] = figures.sdkHeapGrowthKiB;
    state.counters["bytes_h"] = figures.bytesPerHour;
    state.counters["reports"] = static_cast<double>(figures.reports);
    state.counters["sdk_us_req"] = figures.sdkMicrosPerRequest;
    if (loopback) {
        state.counters["conns"] = static_cast<double>(figures.connections);
        state.counters["floor_us_req"] = figures.floorMicrosPerRequest;
        if (figures.floorMicrosPerRequest > 0) {
            state.counters["x_floor"] = figures.sdkMicrosPerRequest / figures.floorMicrosPerRequest;
        }
    }
}

// Arguments: player (0 AVPlayer, 1 MPMoviePlayerController), diagnostic events per hour,
// reporting interval in seconds, session length in hours (minutes over loopback).
QMSessionSetup setupFrom(const benchmark::State& state, bool loopback) {
    QMSessionSetup setup;
    setup.player = state.range(0) == 0 ? QMBenchPlayer::AVPlayer : QMBenchPlayer::MPMoviePlayer;
    setup.diagnosticEventsPerHour = static_cast<int>(state.range(1));
    setup.reportIntervalSeconds = static_cast<int>(state.range(2));
    // Over real HTTP the virtual clock waits for every request in real time: loopback sessions are short.
    setup.sessionSeconds = state.range(3) * (loopback ? 60 : 3600);
    setup.loopback = loopback;
    return setup;
}

void runSession(benchmark::State& state, bool loopback) {
    QMSessionFigures figures;
    for (auto _ : state) {
        figures = QMSessionMeasurement(setupFrom(state, loopback)).run();
    }
    if (figures.reports == 0) {
        state.SkipWithError("no periodical report was sent");
    } else if (figures.floorFailures > 0) {
        state.SkipWithError("the bare libcurl replay of the session's requests failed");
    }
    publish(state, figures, loopback);
}

void BM_VirtualSession(benchmark::State& state) { runSession(state, false); }
void BM_LoopbackSession(benchmark::State& state) { runSession(state, true); }

const std::vector<std::string> kArgNames{"player", "diag_h", "interval_s", "hours"};
const std::vector<std::string> kLoopbackArgNames{"player", "diag_h", "interval_s", "minutes"};

}  // namespace

// The headline: each player kind, diagnostics off (no events after the start) and on (a bitrate
// switch every 30 s), one monitored hour with 10 s reports.
BENCHMARK(BM_VirtualSession)
    ->ArgNames(kArgNames)
    ->Args({0, 0, 10, 10})
    ->Args({0, 120, 10, 10})
    ->Args({1, 0, 10, 10})
    ->Args({1, 120, 10, 10})
    // How the cost grows: with the reporting interval, the diagnostic events, the session length.
    ->Args({0, 120, 2, 1})
    ->Args({0, 120, 30, 1})
    ->Args({0, 600, 10, 1})
    ->Args({0, 1800, 10, 1})
    ->Args({0, 0, 10, 24})
    ->Args({1, 0, 10, 24})
    ->Args({0, 120, 10, 24})
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

BENCHMARK(BM_LoopbackSession)
    ->ArgNames(kLoopbackArgNames)
    ->Args({0, 0, 10, 10})
    ->Args({0, 120, 10, 10})
    ->Args({1, 0, 10, 10})
    ->Args({1, 120, 10, 10})
    ->Args({0, 0, 10, 240})
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

}  // namespace veyrakit
