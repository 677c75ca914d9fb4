// The demo's own work beside the SDK's: following a veyrakit-collector that runs elsewhere. The
// collector (in this process, on loopback) holds a session of N requests, as many as a monitored
// AVPlayer session sends in N/4 000 hours; once the demo's follower (its "demo-follower" thread)
// has read them, it reads the session's new requests once a second for 10 s while the
// session grows by one request a second, as a playing AVPlayer session's does. Counters:
//   follower_ms_s    the follower thread's CPU per second of following
//   collector_ms_s   the rest of the process per second: the collector storing the new requests
//                    and answering the follower (the remote machine's cost)
//   delivered        requests the follower handed on meanwhile
#include <benchmark/benchmark.h>
#include <httplib.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>

#include "QMThreadClock.h"
#include "collector/QMCollectorPolicy.h"
#include "collector/QMCollectorServer.h"
#include "demo/QMDemoRemoteCollector.h"

namespace veyrakit {

namespace {

constexpr int kFollowSeconds = 10;

// One POST of the collector's client (the SDK's stand-in); its answer's body.
std::string post(const std::string& baseURL, const std::string& path, const std::string& body) {
    const auto answer = httplib::Client(baseURL).Post(path, body, "application/json");
    return answer ? answer->body : std::string();
}

// A periodical report about the size of the SDK's.
std::string report(const std::string& sessionId, int number) {
    nlohmann::ordered_json body{{"type", "P"},
                                {"sessionId", sessionId},
                                {"periodicalNumber", number},
                                {"pulseNumber", number},
                                {"totalPlayingTime", "10000"}};
    body["padding"] = std::string(900, 'x');
    return body.dump();
}

int64_t cpuOfThreadsNamed(const std::string& name) {
    int64_t nanos = 0;
    for (const auto& [tid, threadName] : QMThreadClock::threadsOf(getpid())) {
        if (threadName == name) nanos += QMThreadClock::cpuNanos(tid);
    }
    return nanos;
}

void BM_DemoFollowingACollector(benchmark::State& state) {
    QMCollectorServer::Options options;
    options.port = options.diagnosticEventsPort = options.sessionEventsPort = 0;
    options.databasePath = ":memory:";
    options.policy = QMCollectorPolicy::fromJSON(nlohmann::ordered_json::parse("{}"));
    QMCollectorServer collector(options);
    collector.start();
    const std::string init =
        R"({"assetId":"A-1","qmrCID":"C-1","protocolVersion":"1.1","mediaUrl":"https://media.invalid/a.m3u8",)"
        R"("streamType":"HLS","assetType":"VOD","uniqueViewerData":[]})";
    const std::string sessionId =
        nlohmann::ordered_json::parse(post(collector.baseURL(), "/player/init", init)).value("sessionId", "");
    const auto stored = static_cast<int>(state.range(0));
    for (int i = 1; i <= stored; ++i) post(collector.baseURL(), "/player/report", report(sessionId, i));

    double followerMillis = 0, collectorMillis = 0;
    int64_t delivered = 0;
    for (auto _ : state) {
        QMDemoRemoteCollector remote(collector.baseURL(), collector.diagnosticEventsPort(),
                                     collector.sessionEventsPort());
        std::atomic<int64_t> seen{0};
        remote.start([&seen](const nlohmann::ordered_json&) { ++seen; });
        remote.followSession(sessionId);
        // The first pass reads the whole session, once: the steady cost is what follows it.
        while (seen < stored) std::this_thread::sleep_for(std::chrono::milliseconds(50));
        std::this_thread::sleep_for(std::chrono::milliseconds(1500));  // and lets its answer go
        const int64_t process = QMThreadClock::processCpuNanos();
        const int64_t follower = cpuOfThreadsNamed("demo-follower");
        for (int second = 0; second < kFollowSeconds; ++second) {
            std::this_thread::sleep_for(std::chrono::seconds(1));
            post(collector.baseURL(), "/player/report", report(sessionId, stored + second + 1));
        }
        const int64_t followerNanos = cpuOfThreadsNamed("demo-follower") - follower;
        remote.stop();
        delivered += seen - stored;
        followerMillis += static_cast<double>(followerNanos) / 1e6;
        // The rest of the process meanwhile: the collector's threads (this thread only sleeps and posts).
        collectorMillis +=
            static_cast<double>(QMThreadClock::processCpuNanos() - process - followerNanos) / 1e6;
    }
    collector.stop();
    const double seconds = static_cast<double>(state.iterations() * kFollowSeconds);
    state.counters["follower_ms_s"] = followerMillis / seconds;
    state.counters["collector_ms_s"] = collectorMillis / seconds;
    state.counters["delivered"] = static_cast<double>(delivered) / static_cast<double>(state.iterations());
}

}  // namespace

// Ten minutes, one hour and four hours of an AVPlayer session's requests.
BENCHMARK(BM_DemoFollowingACollector)
    ->ArgNames({"stored"})
    ->Arg(700)
    ->Arg(4'000)
    ->Arg(16'000)
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace veyrakit
