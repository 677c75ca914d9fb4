#include "demo/QMDemoPlaylist.h"

#include <cmath>

namespace veyrakit {

namespace {

std::string dimension(double value) { return std::to_string(std::llround(value)); }

}  // namespace

int64_t QMDemoPlaylist::averageBandwidth(int64_t bandwidth) { return bandwidth * 4 / 5; }

std::string QMDemoPlaylist::masterPlaylist(const QMScenario& scenario) {
    std::string text = "#EXTM3U\n#EXT-X-VERSION:3\n";
    for (const auto& variant : scenario.variants()) {
        const CGSize size = variant.resolution.value_or(scenario.size());
        text += "#EXT-X-STREAM-INF:BANDWIDTH=" + std::to_string(variant.bitrate) +
                ",AVERAGE-BANDWIDTH=" + std::to_string(averageBandwidth(variant.bitrate)) +
                ",RESOLUTION=" + dimension(size.width) + "x" + dimension(size.height) + "\n";
        text += variant.URI.value_or(std::to_string(variant.bitrate) + "/index.m3u8") + "\n";
    }
    return text;
}

std::string QMDemoPlaylist::pathOf(const std::string& url) {
    const size_t scheme = url.find("://");
    const size_t path = url.find('/', scheme == std::string::npos ? 0 : scheme + 3);
    if (path == std::string::npos) return "/";
    return url.substr(path, url.find_first_of("?#", path) - path);
}

}  // namespace veyrakit
