#pragma once
#include <string>

#include "simulator/QMScenario.h"

namespace veyrakit {

// The master playlist of a scenario's variant ladder, as an HLS server would offer it: per
// variant an "#EXT-X-STREAM-INF" line with its BANDWIDTH, an AVERAGE-BANDWIDTH of four fifths of
// it and its RESOLUTION (the scenario's picture size when the variant gives none), then the
// variant's playlist URI (its `uri=`, else "<bitrate>/index.m3u8" beside the master playlist).
class QMDemoPlaylist {
  public:
    static std::string masterPlaylist(const QMScenario& scenario);
    static int64_t averageBandwidth(int64_t bandwidth);
    // The path of a URL, without query or fragment: "/vod/a/master.m3u8" of
    // "https://host/vod/a/master.m3u8?x=1".
    static std::string pathOf(const std::string& url);
};

}  // namespace veyrakit
