#include <benchmark/benchmark.h>

#include "platform/QMFormat.h"

namespace veyrakit {

namespace {

// The logger's console line and a trace-file line, as the SDK formats them on every log call.
void BM_FormatLogLine(benchmark::State& state) {
    const std::string level = "I";
    const std::string text = "P\t{ jt:'1834', bt:'250', vt:'10000', ', }{2023-11-14T22:13:20.123Z}";
    int64_t millis = 1'700'000'000'123;
    for (auto _ : state) {
        std::string line = QMFormat("%@ %@", level, text);
        std::string trace =
            QMFormat("[%lld]: %@", millis++, std::string("Access log indicated bitrate: 2560000.000000\n"));
        benchmark::DoNotOptimize(line);
        benchmark::DoNotOptimize(trace);
    }
}
BENCHMARK(BM_FormatLogLine);

void BM_FormatNumbers(benchmark::State& state) {
    for (auto _ : state) {
        std::string line = QMFormat("End timestamp is sooner that start timestamp. [%lld] < [%lld] %.2f %d",
                                    int64_t{1'700'000'000'123}, int64_t{1'700'000'000'000}, 640.0, 503);
        benchmark::DoNotOptimize(line);
    }
}
BENCHMARK(BM_FormatNumbers);

}  // namespace

}  // namespace veyrakit
