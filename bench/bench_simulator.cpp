// How long a two-hour monitored VOD session takes to simulate on the virtual clock: the player
// steps, the stalls and switches, and a 0.25 s periodic time observer (as the viewing-time
// metric registers) ticking through all of it.
#include <benchmark/benchmark.h>

#include <memory>
#include <string>

#include "simulator/QMPlayerSimulator.h"
#include "simulator/QMScenarioParser.h"
#include "veyrakit/platform/QMRunLoop.h"
#include "veyrakit/platform/avfoundation/AVPlayer.h"

namespace veyrakit {

namespace {

std::string twoHourScenario() {
    std::string text =
        "url https://media.veyrakit.invalid/vod/feature/master.m3u8\n"
        "duration 2:00:00\n"
        "variant 800000 960x540\n"
        "variant 1500000 1280x720\n"
        "variant 3000000 1920x1080\n"
        "at 0 play\n"
        "at 2 ready\n";
    const char* const ladder[] = {"1500000", "3000000", "800000"};
    for (int minute = 5; minute < 120; minute += 5) {
        text += "at " + std::to_string(minute) + ":00 bitrate " + ladder[(minute / 5) % 3] + "\n";
        if (minute % 10 == 0) {
            text += "at " + std::to_string(minute) + ":30 stall 3\n";
        }
    }
    return text;
}

void BM_SimulateTwoHourSession(benchmark::State& state) {
    const auto scenario = QMScenarioParser::parse(twoHourScenario(), "two-hours");
    int64_t ticks = 0;
    for (auto _ : state) {
        auto loop = std::make_shared<QMVirtualRunLoop>();
        QMRunLoop::setMainRunLoop(loop);
        auto simulator = QMPlayerSimulator::simulatorWithScenario(scenario, nullptr);
        auto player = simulator->player();
        auto observer = player->addPeriodicTimeObserverForInterval(CMTimeMakeWithSeconds(0.25, 1000000000),
                                                                   nullptr, [&ticks](CMTime) { ++ticks; });
        simulator->start();
        loop->runUntil([&] { return simulator->isFinished(); }, 3 * 3600 * 1000);
        if (!simulator->isPlaybackOver()) {
            state.SkipWithError("the session did not reach its end");
        }
        player->removeTimeObserver(observer);
        simulator.reset();
        QMRunLoop::setMainRunLoop(nullptr);
    }
    state.counters["ticks"] =
        benchmark::Counter(static_cast<double>(ticks), benchmark::Counter::kAvgIterations);
}

}  // namespace

BENCHMARK(BM_SimulateTwoHourSession)->Unit(benchmark::kMillisecond);

}  // namespace veyrakit
