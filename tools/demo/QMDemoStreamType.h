#pragma once
#include <functional>
#include <optional>
#include <string>

namespace veyrakit {

// Whether media is live or on demand, read from the media itself before its session starts, so
// that the session announces the asset type the stream has: an HLS media playlist with no
// "#EXT-X-ENDLIST" (and not typed VOD) is still being written, so live; a master playlist is
// judged by its first variant; anything else (an MP4, a playlist that cannot be read) is on demand.
class QMDemoStreamType {
  public:
    // The body at a URL, or nothing when it cannot be read.
    using Fetch = std::function<std::optional<std::string>(const std::string& url)>;

    // "LIVE" or "VOD".
    static std::string assetTypeOf(const std::string& url, const Fetch& fetch);
    static bool isLivePlaylist(const std::string& mediaPlaylist);
    // The first variant's URI of a master playlist, resolved against the master's URL.
    static std::optional<std::string> firstVariant(const std::string& masterPlaylist,
                                                   const std::string& masterURL);
};

}  // namespace veyrakit
