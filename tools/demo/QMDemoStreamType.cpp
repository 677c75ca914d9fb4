#include "demo/QMDemoStreamType.h"

#include <sstream>

#include "demo/QMDemoPlaylist.h"
#include "veyrakit/platform/QMURL.h"

namespace veyrakit {

namespace {

bool isPlaylistURL(const std::string& url) { return QMDemoPlaylist::pathOf(url).ends_with(".m3u8"); }

std::string trimmed(std::string line) {
    while (!line.empty() && (line.back() == '\r' || line.back() == ' ')) line.pop_back();
    return line;
}

}  // namespace

std::string QMDemoStreamType::assetTypeOf(const std::string& url, const Fetch& fetch) {
    if (!isPlaylistURL(url)) return "VOD";
    auto playlist = fetch(url);
    if (!playlist) return "VOD";
    if (playlist->find("#EXT-X-STREAM-INF") != std::string::npos) {
        const auto variant = firstVariant(*playlist, url);
        playlist = variant ? fetch(*variant) : std::nullopt;
        if (!playlist) return "VOD";
    }
    return isLivePlaylist(*playlist) ? "LIVE" : "VOD";
}

bool QMDemoStreamType::isLivePlaylist(const std::string& mediaPlaylist) {
    return mediaPlaylist.find("#EXT-X-ENDLIST") == std::string::npos &&
           mediaPlaylist.find("#EXT-X-PLAYLIST-TYPE:VOD") == std::string::npos;
}

std::optional<std::string> QMDemoStreamType::firstVariant(const std::string& masterPlaylist,
                                                          const std::string& masterURL) {
    std::istringstream lines(masterPlaylist);
    bool next = false;
    for (std::string line; std::getline(lines, line);) {
        line = trimmed(line);
        if (line.starts_with("#EXT-X-STREAM-INF")) {
            next = true;
        } else if (next && !line.empty() && !line.starts_with("#")) {
            const auto master = QMURL::URLWithString(masterURL);
            const auto variant = master ? QMURL::URLWithString(line, *master) : nullptr;
            return variant ? std::optional(variant->absoluteString()) : std::nullopt;
        }
    }
    return std::nullopt;
}

}  // namespace veyrakit
