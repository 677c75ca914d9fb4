#include "QMSessionMeasurement.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>
#include <vector>

#include "QMAllocationCounter.h"
#include "QMBenchLoopbackServer.h"
#include "QMBenchTraffic.h"
#include "QMLatencyHistogram.h"
#include "QMRequestFloor.h"
#include "QMSteppedRunLoop.h"
#include "QMThreadClock.h"
#include "platform/QMConsole.h"
#include "platform/QMURLSession.h"
#include "platform/QMUserDefaults.h"
#include "simulator/QMPlayerSimulator.h"
#include "simulator/QMScenarioParser.h"
#include "support/QMURLStubRegistry.h"
#include "veyrakit/QMDiagnosticCollectors.h"
#include "veyrakit/VeyraKit.h"
#include "veyrakit/platform/QMURL.h"

namespace veyrakit {

namespace {

constexpr const char* kStubServer = "https://collector.veyrakit.invalid";
constexpr const char* kMediaPath = "/vod/feature/master.m3u8";
// Enough for the longest loopback session (about 4 000 requests an hour).
constexpr std::size_t kKeptRequests = 20'000;

int64_t steadyNanos() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

std::string clockTime(int64_t seconds) {
    const auto two = [](int64_t n) { return (n < 10 ? "0" : "") + std::to_string(n); };
    return std::to_string(seconds / 3600) + ":" + two(seconds / 60 % 60) + ":" + two(seconds % 60);
}

// The path and query of a URL, as an HTTP request line carries it.
std::string requestTarget(const std::string& url) {
    const auto scheme = url.find("://");
    const auto slash = scheme == std::string::npos ? std::string::npos : url.find('/', scheme + 3);
    return slash == std::string::npos ? "/" : url.substr(slash);
}

void monitor(QMBenchPlayer kind, const std::shared_ptr<QMPlayerSimulator>& simulator,
             const std::string& server) {
    if (kind == QMBenchPlayer::AVPlayer) {
        QMVeyraKit::pluginWithAVPlayer(simulator->player(), "bench-asset", server, "bench-customer", "VOD",
                                       "Benchmark feature", "bench-viewer", std::nullopt, std::nullopt);
    } else {
        QMVeyraKit::pluginWithMPMoviePlayerController(simulator->mpMoviePlayer(), "bench-asset", server,
                                                      "bench-customer", "VOD", "Benchmark feature",
                                                      "bench-viewer", std::nullopt, std::nullopt);
    }
}

void endMonitoring(QMBenchPlayer kind) {
    if (kind == QMBenchPlayer::AVPlayer) {
        QMVeyraKit::pluginWithAVPlayer(nullptr, "bench-asset", "bench-customer", std::nullopt, std::nullopt,
                                       std::nullopt, std::nullopt, std::nullopt);
    } else {
        QMVeyraKit::pluginWithMPMoviePlayerController(nullptr, "bench-asset", "bench-customer", std::nullopt,
                                                      std::nullopt, std::nullopt, std::nullopt, std::nullopt);
    }
}

// Where the SDK keeps its files during a run: a fresh directory, as on a first launch.
class Sandbox {
  public:
    Sandbox() {
        char pattern[] = "/tmp/veyrakit-bench-XXXXXX";
        dir_ = mkdtemp(pattern);
        setenv("VEYRAKIT_DEFAULTS_PATH", (dir_ + "/defaults.json").c_str(), 1);
        setenv("VEYRAKIT_DOCUMENTS_DIR", (dir_ + "/Documents").c_str(), 1);
        QMUserDefaults::resetStandardUserDefaults();
    }
    ~Sandbox() {
        std::error_code ignored;
        std::filesystem::remove_all(dir_, ignored);
    }
    Sandbox(const Sandbox&) = delete;
    Sandbox& operator=(const Sandbox&) = delete;

  private:
    std::string dir_;
};

}  // namespace

struct QMSessionMeasurement::Totals {
    int64_t cpuNanos = 0;
    int64_t workerCpuNanos = 0;  // of cpuNanos: the URL session's worker
    int64_t allocations = 0;
    int64_t heapHighWater = 0;
    int64_t heapGrowth = 0;
    QMLatencyHistogram passes;
    QMLatencyHistogram reportTimes;
    std::vector<int64_t> reportAllocations;
    int64_t reports = 0;
    int64_t requests = 0;
    int64_t bytes = 0;
    int64_t connections = 0;
    QMRequestFloor::Figures floor;
};

QMSessionMeasurement::QMSessionMeasurement(QMSessionSetup setup) : setup_(setup) {}

std::string QMSessionMeasurement::scenarioText(const std::string& mediaURL) const {
    std::string text = std::string("player ") +
                       (setup_.player == QMBenchPlayer::AVPlayer ? "avplayer" : "mpmovieplayer") + "\nurl " +
                       mediaURL + "\nduration " + clockTime(setup_.sessionSeconds + 3600) +
                       "\nvariant 800000 960x540\nvariant 1500000 1280x720\nat 0:00 play\nat 0:02 ready\n";
    if (setup_.diagnosticEventsPerHour > 0) {
        // Off the reports' whole seconds, so that a switch never shares a report's instant.
        const int64_t spacingMillis = 3'600'000 / setup_.diagnosticEventsPerHour;
        for (int64_t at = spacingMillis, n = 0; at < setup_.sessionSeconds * 1000; at += spacingMillis, ++n) {
            const int64_t millis = at + 370;
            text += "at " + clockTime(millis / 1000) + "." + std::to_string(1000 + millis % 1000).substr(1) +
                    " bitrate " + (n % 2 == 0 ? "1500000" : "800000") + "\n";
        }
    }
    return text;
}

QMSessionMeasurement::Totals QMSessionMeasurement::play(bool monitored) {
    Sandbox sandbox;
    // Before the stubs answer: the probe must reach the worker over the network transport.
    const pid_t worker = QMThreadClock::URLSessionWorkerThreadId();
    QMBenchTraffic traffic(setup_.reportIntervalSeconds);
    std::optional<QMBenchLoopbackServer> server;
    auto& stubs = QMURLStubRegistry::shared();
    auto loop = std::make_shared<QMSteppedRunLoop>();
    QMRunLoop::setMainRunLoop(loop);
    std::string serverURL = kStubServer;
    if (setup_.loopback) {
        server.emplace(traffic);
        serverURL = server->baseURL();
        if (monitored) {
            traffic.keepRequests(kKeptRequests);
        }
        QMDiagnosticCollectors::setSessionEventsURL(serverURL + "/sessionEventsHandler/sessions");
        QMDiagnosticCollectors::setDiagnosticEventsURL(serverURL + "/veyrakit/");
    } else {
        stubs.enable();
        stubs.addStub([](const QMURLRequest&) { return true; },
                      [&traffic](const QMURLRequest& request) {
                          auto [status, body] = traffic.answer(
                              request.HTTPMethod(), requestTarget(request.URL()->absoluteString()),
                              request.allHTTPHeaderFields(), request.HTTPBody().value_or(""));
                          return QMStubResponse::json(body, status);
                      });
    }
    const std::string mediaURL =
        (setup_.loopback ? serverURL : std::string("https://media.veyrakit.invalid")) + kMediaPath;
    auto simulator = QMPlayerSimulator::simulatorWithScenario(
        QMScenarioParser::parse(scenarioText(mediaURL), "bench"), nullptr);
    const pid_t mainThread = QMThreadClock::currentThreadId();
    const auto sdkThreadsCpu = [&] {
        return QMThreadClock::cpuNanos(mainThread) + QMThreadClock::cpuNanos(worker);
    };

    Totals totals;
    totals.reportAllocations.reserve(
        static_cast<std::size_t>(setup_.sessionSeconds / setup_.reportIntervalSeconds + 16));
    const int64_t startMicros = loop->monotonicMicros();
    const int64_t endMicros = startMicros + setup_.sessionSeconds * 1'000'000;
    const int64_t firstHourMicros = startMicros + std::min<int64_t>(3600, setup_.sessionSeconds) * 1'000'000;
    std::optional<int64_t> heapAfterFirstHour;

    const int64_t heapAtStart = QMAllocationCounter::liveBytes();
    QMAllocationCounter::resetHighWater();
    const int64_t cpuAtStart = sdkThreadsCpu();
    const int64_t workerCpuAtStart = QMThreadClock::cpuNanos(worker);
    const int64_t allocationsAtStart = QMAllocationCounter::allocations();
    if (monitored) {
        monitor(setup_.player, simulator, serverURL);
    }
    simulator->start();

    // One instant of virtual time may take several passes (a timer, then the deliveries of the
    // request it started); a periodical report's instant is all of them.
    int64_t instant = -1, instantNanos = 0, instantAllocations = 0, reportsBefore = 0;
    const auto closeInstant = [&] {
        if (traffic.periodicalReports() > reportsBefore) {
            totals.reportTimes.add(instantNanos);
            totals.reportAllocations.push_back(instantAllocations);
        }
        instantNanos = instantAllocations = 0;
        reportsBefore = traffic.periodicalReports();
    };
    while (loop->monotonicMicros() < endMicros) {
        const int64_t now = loop->monotonicMicros();
        if (now != instant) {
            closeInstant();
            instant = now;
            if (!setup_.loopback) {
                stubs.clearRequests();  // the registry's record would otherwise grow all session
            }
            if (!heapAfterFirstHour && now >= firstHourMicros) {
                heapAfterFirstHour = QMAllocationCounter::liveBytes();
            }
        }
        const int64_t allocationsBefore = QMAllocationCounter::allocations();
        const int64_t before = steadyNanos();
        if (loop->pass(endMicros)) {
            const int64_t nanos = steadyNanos() - before;
            totals.passes.add(nanos);
            instantNanos += nanos;
            instantAllocations += QMAllocationCounter::allocations() - allocationsBefore;
        }
    }
    closeInstant();
    totals.cpuNanos = sdkThreadsCpu() - cpuAtStart;
    totals.workerCpuNanos = QMThreadClock::cpuNanos(worker) - workerCpuAtStart;
    totals.allocations = QMAllocationCounter::allocations() - allocationsAtStart;
    totals.heapHighWater = QMAllocationCounter::highWaterBytes() - heapAtStart;
    totals.heapGrowth = QMAllocationCounter::liveBytes() - heapAfterFirstHour.value_or(heapAtStart);
    totals.reports = traffic.periodicalReports();
    totals.requests = traffic.requests();
    totals.bytes = traffic.bytes();
    totals.connections = server ? server->connectionsAccepted() : 0;

    simulator->stop();
    if (monitored) {
        endMonitoring(setup_.player);
    }
    loop->advanceBy(0);
    QMURLSession::sharedSession()->waitForIdle();
    if (setup_.loopback) {
        QMURLSession::sharedSession()
            ->shutdown();  // its kept-alive connections close before the server stops
        if (monitored) {
            totals.floor = QMRequestFloor::replay(serverURL, traffic.keptRequests());
        }
    }
    simulator.reset();
    QMRunLoop::setMainRunLoop(nullptr);
    stubs.disable();
    QMDiagnosticCollectors::setSessionEventsURL(std::nullopt);
    QMDiagnosticCollectors::setDiagnosticEventsURL(std::nullopt);
    return totals;
}

QMSessionFigures QMSessionMeasurement::run() {
    // The SDK's console lines are counted out, not written: a host's console is not the SDK's cost.
    QMConsole::setSink([](const std::string&) {});
    const Totals baseline = play(false);
    const Totals monitored = play(true);
    QMConsole::setSink(nullptr);

    const double hours = static_cast<double>(setup_.sessionSeconds) / 3600.0;
    QMSessionFigures figures;
    figures.sdkCpuMillisPerHour = static_cast<double>(monitored.cpuNanos - baseline.cpuNanos) / 1e6 / hours;
    figures.workerCpuMillisPerHour =
        static_cast<double>(monitored.workerCpuNanos - baseline.workerCpuNanos) / 1e6 / hours;
    figures.simulatorCpuMillisPerHour = static_cast<double>(baseline.cpuNanos) / 1e6 / hours;
    figures.reportMedianMicros = monitored.reportTimes.percentileMicros(0.5);
    figures.reportP99Micros = monitored.reportTimes.percentileMicros(0.99);
    figures.passP99Micros = monitored.passes.percentileMicros(0.99);
    figures.passMaxMicros = monitored.passes.maxMicros();
    auto allocations = monitored.reportAllocations;
    if (!allocations.empty()) {
        std::nth_element(allocations.begin(),
                         allocations.begin() + static_cast<std::ptrdiff_t>(allocations.size() / 2),
                         allocations.end());
        figures.allocationsPerReport = static_cast<double>(allocations[allocations.size() / 2]);
    }
    figures.reports = monitored.reports;
    if (monitored.reports > 0) {
        figures.allocationsPerInterval = static_cast<double>(monitored.allocations - baseline.allocations) /
                                         static_cast<double>(monitored.reports);
    }
    figures.heapHighWaterKiB = static_cast<double>(monitored.heapHighWater) / 1024.0;
    figures.heapGrowthKiB = static_cast<double>(monitored.heapGrowth) / 1024.0;
    figures.sdkHeapGrowthKiB = static_cast<double>(monitored.heapGrowth - baseline.heapGrowth) / 1024.0;
    figures.bytesPerHour = static_cast<double>(monitored.bytes) / hours;
    figures.requestsPerHour = static_cast<double>(monitored.requests) / hours;
    figures.connections = monitored.connections;
    if (monitored.requests > 0) {
        figures.sdkMicrosPerRequest = static_cast<double>(monitored.cpuNanos - baseline.cpuNanos) / 1000.0 /
                                      static_cast<double>(monitored.requests);
    }
    figures.floorMicrosPerRequest = monitored.floor.cpuMicrosPerRequest;
    figures.floorFailures = monitored.floor.failures;
    return figures;
}

}  // namespace veyrakit
