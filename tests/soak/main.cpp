// veyrakit-soak: hours of monitored playback on the virtual clock against a faulty server, with
// a table of what was measured per simulated hour. Exits 1 when a check failed.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "soak/QMSoakRun.h"

using namespace veyrakit;

namespace {

// The heap may move this much over its size at the end of the first hour (allocator slack).
constexpr int64_t kHeapAllowance = 256 * 1024;

int usage() {
    std::fprintf(stderr,
                 "usage: veyrakit-soak [--hours N] [--seed N] [--player avplayer|mpmovieplayer|both]\n");
    return 2;
}

void print(const QMSoakRun::Result& result) {
    std::printf("%4s %9s %8s %12s %10s %8s %8s\n", "hour", "playbacks", "reports", "heap bytes", "callbacks",
                "max us", "p99 us");
    for (const auto& hour : result.hours) {
        std::printf("%4d %9lld %8lld %12lld %10lld %8lld %8lld\n", hour.hour,
                    static_cast<long long>(hour.playbacks), static_cast<long long>(hour.reports),
                    static_cast<long long>(hour.heapBytes), static_cast<long long>(hour.callbacks),
                    static_cast<long long>(hour.maxMicros), static_cast<long long>(hour.p99Micros));
    }
    std::printf("faults injected     %lld throttles, %lld skipped answers, %lld failed connections\n",
                static_cast<long long>(result.faults.throttles), static_cast<long long>(result.faults.skips),
                static_cast<long long>(result.faults.failures));
    std::printf("reports checked     %lld (%lld sent again after a failure)\n",
                static_cast<long long>(result.reports), static_cast<long long>(result.retransmissions));
    std::printf("diagnostic posts    %lld\n", static_cast<long long>(result.diagnosticPosts));
    std::printf("heap after hour 1   grew by at most %lld bytes\n",
                static_cast<long long>(result.heapGrowthAfterFirstHour()));
    std::printf("left behind         %lld of %lld playbacks (first: %s)\n",
                static_cast<long long>(result.playbacksWithLeftovers),
                static_cast<long long>(result.playbacks), result.firstLeftovers.c_str());
    std::printf("inconsistencies     %zu\n", result.violations.size());
    for (const auto& violation : result.violations) {
        std::printf("  %s\n", violation.c_str());
    }
}

}  // namespace

int main(int argc, char** argv) {
    QMSoakRun::Options options;
    options.scenarioDir = VEYRAKIT_SCENARIO_DIR;
    for (int i = 1; i < argc; ++i) {
        const std::string option = argv[i];
        if (i + 1 >= argc) return usage();
        const std::string value = argv[++i];
        if (option == "--hours") {
            options.hours = std::atoi(value.c_str());
        } else if (option == "--seed") {
            options.seed = static_cast<uint32_t>(std::strtoul(value.c_str(), nullptr, 10));
        } else if (option == "--player" && value == "avplayer") {
            options.players = QMSoakRun::Players::AVPlayer;
        } else if (option == "--player" && value == "mpmovieplayer") {
            options.players = QMSoakRun::Players::MPMoviePlayer;
        } else if (option == "--player" && value == "both") {
            options.players = QMSoakRun::Players::Both;
        } else {
            return usage();
        }
    }
    if (options.hours < 1) return usage();
    const auto result = QMSoakRun(options).run();
    print(result);
    const bool passed = result.violations.empty() && result.playbacksWithLeftovers == 0 &&
                        result.heapGrowthAfterFirstHour() <= kHeapAllowance;
    std::printf("%s\n", passed ? "PASSED" : "FAILED");
    return passed ? 0 : 1;
}
