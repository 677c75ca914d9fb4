#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "diagnostics/QMAVPlayerPlaylistReader.h"

namespace veyrakit {

namespace {

using Strings = std::vector<std::string>;
using Reader = QMAVPlayerPlaylistReader;

std::string variant(int rung) {
    return "#EXT-X-STREAM-INF:BANDWIDTH=" + std::to_string(400000 + rung) +
           ",AVERAGE-BANDWIDTH=320000,RESOLUTION=" + std::to_string(rung) + "x360,CODECS=\"avc1\"\nrung-" +
           std::to_string(rung) + ".m3u8\n";
}

}  // namespace

TEST(QMAVPlayerPlaylistReader, PatternsTakeAverageBandwidthAndNeedAnEndingCharacter) {
    const std::string single = "#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=1280000,RESOLUTION=640x360\nlow.m3u8\n";
    EXPECT_EQ(Reader::bitratesInPlaylist(single), (std::vector<double>{1280000.0}));
    const auto sizes = Reader::resolutionsInPlaylist(single);
    ASSERT_EQ(sizes.size(), 1u);
    EXPECT_EQ(sizes[0].width, 640.0);
    EXPECT_EQ(sizes[0].height, 360.0);

    const std::string both =
        "#EXT-X-STREAM-INF:AVERAGE-BANDWIDTH=1000000,BANDWIDTH=1280000\r\n"
        "#EXT-X-STREAM-INF:BANDWIDTH=0x9,RESOLUTION=1x2x3,RESOLUTION=1920x1080";
    EXPECT_EQ(Reader::bitratesInPlaylist(both), (std::vector<double>{1000000.0, 1280000.0, 0.0}));
    // 1x2x3 is not two parts; the last RESOLUTION has nothing after it.
    EXPECT_TRUE(Reader::resolutionsInPlaylist(both).empty());
}

TEST(QMAVPlayerPlaylistReader, AValueEndsAtTheFirstCommaOrLineBreakAndCrossesNoOtherBreakOrBadByte) {
    const std::vector<std::pair<std::string, Strings>> cases = {
        {"BANDWIDTH=BANDWIDTH=1,BANDWIDTH=2\r\nBANDWIDTH=3", {"BANDWIDTH=1", "2"}},
        {"BANDWIDTH=,BANDWIDTH=\n", {"", ""}},
        // Vertical tab, form feed, NEL, LS and PS end no value, and no value runs over them.
        {"BANDWIDTH=1\v,BANDWIDTH=2\f,BANDWIDTH=3,", {"3"}},
        {"BANDWIDTH=1\xC2\x85,BANDWIDTH=2\xE2\x80\xA8,BANDWIDTH=3\xE2\x80\xA9\n", {}},
        // Nor over a byte that is not UTF-8; a character that is one is part of the value.
        {"BANDWIDTH=\xFF,BANDWIDTH=\xC3,BANDWIDTH=\xED\xA0\x80,BANDWIDTH=\xC3\xA9\xF0\x9F\x8E\xAC,",
         {"\xC3\xA9\xF0\x9F\x8E\xAC"}},
        {"x\xE2\x82"
         "BANDWIDTH=1,\xC0\xAF"
         "BANDWIDTH=2,",
         {"1", "2"}},
    };
    for (const auto& [text, values] : cases) {
        EXPECT_EQ(Reader::attributeValues(text, "BANDWIDTH"), values) << text;
    }
}

TEST(QMAVPlayerPlaylistReader, AMegabytePlaylistGivesWhatItsVariantsGiveOneByOne) {
    std::string playlist = "#EXTM3U\n";
    std::vector<double> bitrates;
    std::vector<double> widths;
    for (int rung = 0; playlist.size() < (std::size_t{1} << 20); ++rung) {
        playlist += variant(rung);
        for (double bitrate : Reader::bitratesInPlaylist(variant(rung))) {
            bitrates.push_back(bitrate);
        }
        widths.push_back(Reader::resolutionsInPlaylist(variant(rung)).at(0).width);
    }
    ASSERT_EQ(bitrates.size(), 2 * widths.size());
    EXPECT_EQ(Reader::bitratesInPlaylist(playlist), bitrates);
    const auto sizes = Reader::resolutionsInPlaylist(playlist);
    ASSERT_EQ(sizes.size(), widths.size());
    for (std::size_t i = 0; i < sizes.size(); ++i) {
        EXPECT_EQ(sizes[i].width, widths[i]);
        EXPECT_EQ(sizes[i].height, 360.0);
    }
}

TEST(QMAVPlayerPlaylistReader, AttributesWithNothingToEndThemAddNothing) {
    const std::string sane = "#EXTM3U\n" + variant(1) + variant(2);
    std::string unterminated = sane;
    while (unterminated.size() < (std::size_t{1} << 20)) {
        unterminated += "BANDWIDTH=RESOLUTION=";
    }
    EXPECT_EQ(Reader::bitratesInPlaylist(unterminated), Reader::bitratesInPlaylist(sane));
    EXPECT_EQ(Reader::bitratesInPlaylist(unterminated),
              (std::vector<double>{400001, 320000, 400002, 320000}));
    EXPECT_EQ(Reader::resolutionsInPlaylist(unterminated).size(), 2u);
}

TEST(QMAVPlayerPlaylistReader, APlaylistBeyondTheCapOffersNothing) {
    EXPECT_EQ(Reader::kMaximumPlaylistLength, std::size_t{2} << 20);
    std::string playlist = variant(1);
    playlist.resize(Reader::kMaximumPlaylistLength, '#');
    EXPECT_EQ(Reader::bitratesInPlaylist(playlist), (std::vector<double>{400001, 320000}));
    playlist += '#';
    EXPECT_TRUE(Reader::bitratesInPlaylist(playlist).empty());
    EXPECT_TRUE(Reader::resolutionsInPlaylist(playlist).empty());
}

}  // namespace veyrakit
