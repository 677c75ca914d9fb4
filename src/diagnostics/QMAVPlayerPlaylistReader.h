#pragma once
#include <cstddef>
#include <string>
#include <vector>

#include "veyrakit/platform/avfoundation/CGSize.h"

namespace veyrakit {

// Reads what a master playlist offers: the bitrates of its BANDWIDTH attributes and the sizes of
// its RESOLUTION attributes, in the order they stand in the text. The attributes are found by
// plain patterns, not by parsing the playlist, with what follows from that: an AVERAGE-BANDWIDTH
// counts as a bitrate too, and an attribute is only taken when a comma or a line break ends it
// (one at the very end of the text is not).
//
// Reading is linear in the text's size: its UTF-8 is checked once, and the patterns run line by
// line, each only over the part of its line that a comma or the line break ends. A text longer
// than kMaximumPlaylistLength is not read at all: it offers nothing, like a failed fetch.
class QMAVPlayerPlaylistReader {
  public:
    // 2 MiB, the size of the largest answer URL loading accepts by default. A master playlist
    // lists a few variants in a few KiB.
    static constexpr std::size_t kMaximumPlaylistLength = std::size_t{2} << 20;

    // Every BANDWIDTH value as a number (leading digits; 0 when there are none).
    static std::vector<double> bitratesInPlaylist(const std::string& text);
    // Every RESOLUTION value of the form "<width>x<height>"; others are left out.
    static std::vector<CGSize> resolutionsInPlaylist(const std::string& text);
    // The text of every value of the attribute `name` (without the "="), as the pattern
    // "<name>=(.*?)[,\n\r]" finds it over the whole text: from after the "=" up to, not including,
    // the first comma or line break. `name` is taken as a pattern: letters, digits and "-" only.
    static std::vector<std::string> attributeValues(const std::string& text, const std::string& name);
};

}  // namespace veyrakit
