// The master playlist text the AVPlayer diagnostic reporter reads: bitrates and resolutions. On
// texts short enough for it, the reader's values are checked against the plain patterns run over
// the whole text at once, the reading the line-by-line one must give exactly (that one is
// quadratic, hence the size limit); a difference aborts.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "diagnostics/QMAVPlayerPlaylistReader.h"
#include "platform/QMRegularExpression.h"

using namespace veyrakit;

namespace {

constexpr std::size_t kLongestCompared = 4096;

std::vector<std::string> wholeTextValues(const std::string& text, const std::string& name) {
    std::vector<std::string> values;
    const auto expression = QMRegularExpression::regularExpressionWithPattern(name + "=(.*?)[,\\n\\r]", 0);
    for (const auto& match : expression->matchesInString(text)) {
        const QMRange range = match.range();
        values.push_back(
            QMSubstring(text, QMRange{range.location + name.size() + 1, range.length - name.size() - 2}));
    }
    return values;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    (void)QMAVPlayerPlaylistReader::bitratesInPlaylist(text);
    (void)QMAVPlayerPlaylistReader::resolutionsInPlaylist(text);
    if (size <= kLongestCompared) {
        for (const char* name : {"BANDWIDTH", "RESOLUTION"}) {
            if (QMAVPlayerPlaylistReader::attributeValues(text, name) != wholeTextValues(text, name)) {
                std::abort();
            }
        }
    }
    return 0;
}
