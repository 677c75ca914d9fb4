// Zero-code monitoring's cost to the app: GStreamer's unmodified gst-launch-1.0 plays 16 s of the
// test ladder (served on loopback) in real time, without the veyrakit tracer, with it reporting to
// a loopback collector, and with it pointed at a collector that refuses connections or one that
// answers after 5 s. Counters (per run):
//   cpu_ms   user + system CPU of the gst-launch-1.0 process (its every thread, the SDK's included)
//   wall_ms  from start to exit, playing included
#include <benchmark/benchmark.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>

#include "QMBenchLoopbackServer.h"
#include "QMBenchTraffic.h"
#include "support/QMFaultServer.h"
#include "support/QMTestMediaServer.h"

namespace veyrakit {

namespace {

enum Collector { kNone, kLoopback, kRefused, kSlow };

double childCpuMillis() {
    rusage usage{};
    getrusage(RUSAGE_CHILDREN, &usage);
    auto millis = [](const timeval& t) { return static_cast<double>(t.tv_sec) * 1e3 + t.tv_usec / 1e3; };
    return millis(usage.ru_utime) + millis(usage.ru_stime);
}

void BM_GstLaunchWithTheTracer(benchmark::State& state) {
    QMTestMediaServer media(16);
    QMBenchTraffic traffic(10);
    QMBenchLoopbackServer loopback(traffic);
    // Accepts and reads, then answers only after five seconds.
    httplib::Server slow;
    slow.Post(".*", [](const httplib::Request&, httplib::Response& response) {
        std::this_thread::sleep_for(std::chrono::seconds(5));
        response.set_content("{}", "application/json");
    });
    const int slowPort = slow.bind_to_any_port("127.0.0.1");
    std::thread slowThread([&slow] { slow.listen_after_bind(); });

    const auto collector = static_cast<Collector>(state.range(0));
    std::string server = loopback.baseURL();
    if (collector == kRefused) server = "http://127.0.0.1:" + std::to_string(QMFaultServer::closedPort());
    if (collector == kSlow) server = "http://127.0.0.1:" + std::to_string(slowPort);
    const std::string port = server.substr(server.rfind(':') + 1);
    const std::string tracing = collector == kNone
                                    ? ""
                                    : std::string("GST_PLUGIN_PATH=") + VEYRAKIT_GST_PLUGIN_DIR +
                                          " GST_TRACERS='veyrakit(server=" + server + ",diag-ports=\"" +
                                          port + "," + port + "\")' ";
    const std::string command =
        tracing + "gst-launch-1.0 -q playbin3 uri=" + media.url("master.m3u8") +
        " video-sink='fakesink sync=true' audio-sink='fakesink sync=true' >/dev/null 2>&1";
    double cpu = 0;
    double wall = 0;
    for (auto _ : state) {
        const double cpuBefore = childCpuMillis();
        const auto began = std::chrono::steady_clock::now();
        if (std::system(command.c_str()) != 0) state.SkipWithError("gst-launch-1.0 failed");
        wall += std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - began).count();
        cpu += childCpuMillis() - cpuBefore;
    }
    slow.stop();
    slowThread.join();
    const auto runs = static_cast<double>(state.iterations());
    state.counters["cpu_ms"] = cpu / runs;
    state.counters["wall_ms"] = wall / runs;
}

}  // namespace

// 0: no tracer; 1: reporting to a loopback collector; 2: collector refusing; 3: collector slow.
BENCHMARK(BM_GstLaunchWithTheTracer)
    ->DenseRange(0, 3)
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace veyrakit
