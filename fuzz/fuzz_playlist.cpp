// The master playlist text the AVPlayer diagnostic reporter reads: bitrates and resolutions.
#include <cstddef>
#include <cstdint>
#include <string>

#include "diagnostics/QMAVPlayerPlaylistReader.h"

using namespace veyrakit;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    (void)QMAVPlayerPlaylistReader::bitratesInPlaylist(text);
    (void)QMAVPlayerPlaylistReader::resolutionsInPlaylist(text);
    return 0;
}
