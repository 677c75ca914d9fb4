// One request's cost, apart from any session: the same 1 KB JSON body posted to the loopback
// server, one request at a time, by a bare libcurl loop (the floor) and through the SDK's two
// URL paths on a real-time main loop:
//   cpu_us_req   CPU per request of the threads involved: the calling thread for the floor; the
//                main loop's and the shared URL session's worker for the SDK
//   x_floor      cpu_us_req over the floor's, measured in the same run
// and what a hand-over between two threads costs: a task posted to a run loop on another thread,
// which posts one back (BM_RunLoopHandOverRoundTrip, cpu_us_trip: both threads' CPU per trip).
#include <benchmark/benchmark.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>

#include "QMBenchLoopbackServer.h"
#include "QMBenchTraffic.h"
#include "QMRequestFloor.h"
#include "QMThreadClock.h"
#include "platform/QMURLSession.h"
#include "reporting/QMJSONPostRequest.h"
#include "veyrakit/platform/QMRunLoop.h"
#include "veyrakit/platform/QMURL.h"

namespace veyrakit {

namespace {

constexpr int kRequests = 2'000;
constexpr const char* kPath = "/sessionEventsHandler/sessions";

std::string body() {
    std::string text = R"({"session":{"id":"B-1"},"events":[)";
    while (text.size() < 1000) {
        text += R"({"type":"playbackPosition","time":1764134400000,"value":12.25},)";
    }
    text.back() = ']';
    return text + "}";
}

QMBenchTraffic::KeptRequests sameRequests() {
    const std::string json = body();
    QMBenchTraffic::KeptRequests requests;
    for (int i = 0; i < kRequests; ++i) {
        requests.push_back({"POST", kPath, "Content-Type: application/json\n", {json.data(), json.size()}});
    }
    return requests;
}

double floorMicros(const std::string& baseURL) {
    return QMRequestFloor::replay(baseURL, sameRequests()).cpuMicrosPerRequest;
}

void BM_RequestThroughURLSession(benchmark::State& state) {
    QMBenchTraffic traffic(10);
    QMBenchLoopbackServer server(traffic);
    auto loop = std::make_shared<QMRunLoop>();
    QMRunLoop::setMainRunLoop(loop);
    const pid_t mainThread = QMThreadClock::currentThreadId();
    const pid_t worker = QMThreadClock::URLSessionWorkerThreadId();
    const auto sdkCpu = [&] { return QMThreadClock::cpuNanos(mainThread) + QMThreadClock::cpuNanos(worker); };
    const std::string url = server.baseURL() + kPath;
    const std::string json = body();
    auto session = QMURLSession::sharedSession();
    int64_t cpu = 0;
    int64_t mainCpu = 0;
    int failures = 0;
    for (auto _ : state) {
        const int64_t before = sdkCpu();
        const int64_t mainBefore = QMThreadClock::cpuNanos(mainThread);
        for (int i = 0; i < kRequests; ++i) {
            std::atomic<bool> done{false};
            session
                ->dataTaskWithRequest(QMJSONPostRequest::requestWithURL(QMURL::URLWithString(url), json),
                                      [&](const auto& data, const auto&, const auto&) {
                                          failures += data ? 0 : 1;
                                          done = true;
                                      })
                ->resume();
            loop->runUntil([&] { return done.load() && loop->outsideWorkCount() == 0; }, 5'000);
        }
        cpu += sdkCpu() - before;
        mainCpu += QMThreadClock::cpuNanos(mainThread) - mainBefore;
    }
    state.counters["main_us_req"] =
        static_cast<double>(mainCpu) / 1000.0 / static_cast<double>(state.iterations() * kRequests);
    session->shutdown();
    QMRunLoop::setMainRunLoop(nullptr);
    const double perRequest =
        static_cast<double>(cpu) / 1000.0 / static_cast<double>(state.iterations() * kRequests);
    state.counters["cpu_us_req"] = perRequest;
    state.counters["x_floor"] = perRequest / floorMicros(server.baseURL());
    if (failures > 0) {
        state.SkipWithError("a post failed");
    }
}

void BM_RequestFloor(benchmark::State& state) {
    QMBenchTraffic traffic(10);
    QMBenchLoopbackServer server(traffic);
    double micros = 0;
    for (auto _ : state) {
        micros = floorMicros(server.baseURL());
    }
    state.counters["cpu_us_req"] = micros;
}

void BM_RunLoopHandOverRoundTrip(benchmark::State& state) {
    constexpr int kTrips = 20'000;
    auto here = std::make_shared<QMRunLoop>();
    auto there = std::make_shared<QMRunLoop>();
    std::atomic<pid_t> thereThread{0};
    std::thread thread([&] {
        thereThread = QMThreadClock::currentThreadId();
        there->run();
    });
    while (thereThread == 0) std::this_thread::yield();
    const pid_t hereThread = QMThreadClock::currentThreadId();
    const auto cpu = [&] {
        return QMThreadClock::cpuNanos(hereThread) + QMThreadClock::cpuNanos(thereThread);
    };
    int64_t nanos = 0;
    for (auto _ : state) {
        const int64_t before = cpu();
        for (int i = 0; i < kTrips; ++i) {
            bool back = false;
            there->post([&] { here->post([&] { back = true; }); });
            here->runUntil([&] { return back; }, 5'000);
        }
        nanos += cpu() - before;
    }
    there->stop();
    thread.join();
    state.counters["cpu_us_trip"] =
        static_cast<double>(nanos) / 1000.0 / static_cast<double>(state.iterations() * kTrips);
}

}  // namespace

BENCHMARK(BM_RunLoopHandOverRoundTrip)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RequestFloor)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RequestThroughURLSession)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace veyrakit
