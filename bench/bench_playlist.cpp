#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>

#include "diagnostics/QMAVPlayerPlaylistReader.h"

namespace veyrakit {

namespace {

// A master playlist of `bytes` bytes: variant after variant, each with both bandwidths and a
// resolution, as a ladder with many rungs (or a server padding its answer) would have it.
std::string masterPlaylist(std::size_t bytes) {
    std::string text = "#EXTM3U\n#EXT-X-VERSION:3\n";
    for (int rung = 0; text.size() < bytes; ++rung) {
        text += "#EXT-X-STREAM-INF:BANDWIDTH=" + std::to_string(400000 + rung) +
                ",AVERAGE-BANDWIDTH=320000,RESOLUTION=640x360,CODECS=\"avc1.4d401e,mp4a.40.2\"\nrung-" +
                std::to_string(rung) + "/index.m3u8\n";
    }
    text.resize(bytes);
    return text;
}

// One sane variant, then attribute names with no comma or line break after them: every name is
// a match that fails only at the end of the text.
std::string unterminatedPlaylist(std::size_t bytes) {
    std::string text = "#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=1280000,RESOLUTION=640x360\nlow.m3u8\n";
    while (text.size() < bytes) {
        text += "BANDWIDTH=RESOLUTION=";
    }
    text.resize(bytes);
    return text;
}

// What the diagnostic reporter does with a fetched playlist: both readings, one after the other.
void readPlaylist(benchmark::State& state, const std::string& text) {
    std::size_t found = 0;
    for (auto _ : state) {
        found = QMAVPlayerPlaylistReader::bitratesInPlaylist(text).size() +
                QMAVPlayerPlaylistReader::resolutionsInPlaylist(text).size();
        benchmark::DoNotOptimize(found);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(text.size()));
    state.counters["attributes"] = static_cast<double>(found);
}

void BM_ReadMasterPlaylist(benchmark::State& state) {
    readPlaylist(state, masterPlaylist(static_cast<std::size_t>(state.range(0))));
}
BENCHMARK(BM_ReadMasterPlaylist)->Arg(128 << 10)->Arg(1 << 20)->Arg(2 << 20)->Unit(benchmark::kMillisecond);

void BM_ReadUnterminatedPlaylist(benchmark::State& state) {
    readPlaylist(state, unterminatedPlaylist(static_cast<std::size_t>(state.range(0))));
}
BENCHMARK(BM_ReadUnterminatedPlaylist)
    ->Arg(64 << 10)
    ->Arg(128 << 10)
    ->Arg(1 << 20)
    ->Arg(2 << 20)
    ->Unit(benchmark::kMillisecond);

}  // namespace

}  // namespace veyrakit
