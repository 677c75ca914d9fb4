#include "demo/QMDemoStreamType.h"

#include <sstream>

#include "demo/QMDemoPlaylist.h"

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
            return resolve(line, masterURL);
        }
    }
    return std::nullopt;
}

std::string QMDemoStreamType::resolve(const std::string& uri, const std::string& baseURL) {
    if (uri.find("://") != std::string::npos) return uri;
    const auto authority = baseURL.find("://");
    const auto pathStart =
        authority == std::string::npos ? std::string::npos : baseURL.find('/', authority + 3);
    if (uri.starts_with("/")) return baseURL.substr(0, pathStart) + uri;
    const std::string path = baseURL.substr(0, baseURL.find_first_of("?#"));
    return path.substr(0, path.rfind('/') + 1) + uri;
}

}  // namespace veyrakit
