#include <benchmark/benchmark.h>

#include "platform/QMJSON.h"

namespace veyrakit {

namespace {

// A periodical report as the reporter builds it: envelope fields, counters and the values of
// six metrics (durations and counts as strings, bitrates and positions as numbers).
QMJSON periodicalReport() {
    QMJSON report = QMJSON::object();
    report["type"] = "P";
    report["sessionId"] = "5F1E8C2A-7B3D-4E9A-A1C2-0D4B6E8F9A1B";
    report["pulseNumber"] = 42;
    report["periodicalNumber"] = 40;
    report["joinTime"] = "1834";
    report["bufferingTime"] = "250";
    report["bufferingCount"] = "2";
    report["viewingTime"] = "10000";
    report["playingTime"] = "9750";
    report["viewedSeconds"] = 9.75;
    report["fullScreenTime"] = "0";
    report["elapsedTime"] = "420000";
    report["reportPeriod"] = "10";
    report["alive"] = "1";
    report["currentBitRate"] = 2560000.0;
    report["averageBitRate"] = 1920000.5;
    report["bitrateSwitchCount"] = "3";
    report["playbackDuration"] = 5400.25;
    report["currentPosition"] = 431.52;
    report["assetMetadata"] =
        QMJSON::array({{{"key", "genre"}, {"values", QMJSON::array({"drama", "series"})}}});
    return report;
}

void BM_CompactSerialisationOfPeriodicalReport(benchmark::State& state) {
    const QMJSON report = periodicalReport();
    std::size_t bytes = 0;
    for (auto _ : state) {
        std::string body = QMJSONSerialization::dataWithJSONObject(report);
        bytes += body.size();
        benchmark::DoNotOptimize(body);
    }
    state.SetBytesProcessed(static_cast<int64_t>(bytes));
}
BENCHMARK(BM_CompactSerialisationOfPeriodicalReport);

}  // namespace

}  // namespace veyrakit
