#pragma once
#include <string>
#include <vector>

#include "veyrakit/platform/avfoundation/CGSize.h"

namespace veyrakit {

// Reads what a master playlist offers: the bitrates of its BANDWIDTH attributes and the sizes of
// its RESOLUTION attributes, in the order they stand in the text. The attributes are found by
// plain patterns, not by parsing the playlist, with what follows from that: an AVERAGE-BANDWIDTH
// counts as a bitrate too, and an attribute is only taken when a comma or a line break ends it
// (one at the very end of the text is not).
class QMAVPlayerPlaylistReader {
  public:
    // Every BANDWIDTH value as a number (leading digits; 0 when there are none).
    static std::vector<double> bitratesInPlaylist(const std::string& text);
    // Every RESOLUTION value of the form "<width>x<height>"; others are left out.
    static std::vector<CGSize> resolutionsInPlaylist(const std::string& text);
};

}  // namespace veyrakit
