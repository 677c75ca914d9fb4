#include <gtest/gtest.h>

#include "platform/QMException.h"
#include "platform/QMRegularExpression.h"

namespace veyrakit {

namespace {

std::shared_ptr<QMRegularExpression> compile(const std::string& pattern, unsigned options = 0) {
    std::string error;
    auto regex = QMRegularExpression::regularExpressionWithPattern(pattern, options, &error);
    EXPECT_TRUE(regex) << pattern << ": " << error;
    return regex;
}

// From after the attribute name up to, not including, the match's last character. The patterns
// hold the escapes \n and \r (backslash and letter), not raw line breaks.
std::vector<std::string> attributeValues(const std::string& name, const std::string& text) {
    std::vector<std::string> values;
    for (const auto& match : compile(name + "=(.*?)[,\\n\\r]")->matchesInString(text)) {
        QMRange r = match.range();
        values.push_back(QMSubstring(text, {r.location + name.size() + 1, r.length - name.size() - 2}));
    }
    return values;
}

}  // namespace

TEST(RegularExpression, BlankTestMatchesOnlyWhitespaceOrNothing) {
    auto blank = compile("^[\\s]*$", NSRegularExpressionCaseInsensitive);
    for (const std::string text : {"", " ", "\t\t", " \t \n", "\r\n", "\xC2\xA0"}) {
        EXPECT_EQ(blank->numberOfMatchesInString(text), 1u) << "[" << text << "]";
    }
    for (const std::string text : {"a", " a ", "\tx\t", "a\n", "\n\nb"}) {
        EXPECT_EQ(blank->numberOfMatchesInString(text), 0u) << "[" << text << "]";
    }
}

TEST(RegularExpression, StreamTypePatternsIgnoreCaseAndAreAnchoredAtTheEndOfTheWholeUrl) {
    auto pdl = compile(".*\\.mp4$", NSRegularExpressionCaseInsensitive);
    auto hls = compile(".*\\.m3u8$", NSRegularExpressionCaseInsensitive);
    auto dash = compile(".*\\.mpd$", NSRegularExpressionCaseInsensitive);
    EXPECT_EQ(pdl->numberOfMatchesInString("https://cdn.example/movie.MP4"), 1u);
    EXPECT_EQ(pdl->numberOfMatchesInString("https://cdn.example/movie_mp4"), 0u);  // the dot is literal
    EXPECT_EQ(hls->numberOfMatchesInString("https://h/index.M3u8"), 1u);
    EXPECT_EQ(hls->numberOfMatchesInString("https://h/index.m3u8?token=x"), 0u);
    EXPECT_EQ(dash->numberOfMatchesInString("https://h/manifest.mpd"), 1u);
    EXPECT_EQ(dash->numberOfMatchesInString("https://h/manifest.mpd#t=10"), 0u);
    EXPECT_EQ(compile(".*\\.mp4$")->numberOfMatchesInString("a.MP4"), 0u);  // without the option case matters
}

TEST(RegularExpression, PlaylistAttributesInTextOrderEndedByCommaOrLineBreakOnly) {
    const std::string playlist =
        "#EXTM3U\n"
        "#EXT-X-STREAM-INF:AVERAGE-BANDWIDTH=1100000,BANDWIDTH=1280000,RESOLUTION=640x360\n"
        "low.m3u8\r\n"
        "#EXT-X-STREAM-INF:BANDWIDTH=2560000,RESOLUTION=,CODECS=\"avc1\"\r\n"
        "#EXT-X-STREAM-INF:RESOLUTION=1920x1080,BANDWIDTH=5120000";  // last value: no terminator, no match
    EXPECT_EQ(attributeValues("BANDWIDTH", playlist),
              (std::vector<std::string>{"1100000", "1280000", "2560000"}));
    EXPECT_EQ(attributeValues("RESOLUTION", playlist),
              (std::vector<std::string>{"640x360", "", "1920x1080"}));
}

TEST(RegularExpression, CaptureRangesEmptyMatchesAndByteOffsets) {
    auto matches = compile("(a)|(b)")->matchesInString("xbza");
    ASSERT_EQ(matches.size(), 2u);
    EXPECT_EQ(matches[0].numberOfRanges(), 3u);
    EXPECT_EQ(matches[0].range().location, 1u);
    EXPECT_EQ(matches[0].rangeAtIndex(1).location, NSNotFound);  // group did not take part
    EXPECT_EQ(matches[0].rangeAtIndex(2).location, 1u);
    EXPECT_EQ(matches[1].rangeAtIndex(1).location, 3u);
    EXPECT_EQ(matches[1].rangeAtIndex(2).location, NSNotFound);
    EXPECT_EQ(compile("b")->firstMatchInString("zzz").numberOfRanges(), 0u);

    // After an empty match the search moves on one character: "", "aaa", "".
    auto empty = compile("a*")->matchesInString("baaa");
    ASSERT_EQ(empty.size(), 3u);
    EXPECT_EQ(empty[1].range().location, 1u);
    EXPECT_EQ(empty[1].range().length, 3u);
    EXPECT_EQ(empty[2].range().location, 4u);
    // Offsets count bytes; a two-byte character is stepped over whole; bad UTF-8 is no obstacle.
    EXPECT_EQ(compile("x*")->numberOfMatchesInString("\xC3\xA9"), 2u);
    EXPECT_EQ(compile("b")
                  ->firstMatchInString("\xC3\xA9"
                                       "b")
                  .range()
                  .location,
              2u);
    EXPECT_EQ(compile("b")->numberOfMatchesInString("\xFF"
                                                    "b"
                                                    "\xC3"
                                                    "b"),
              2u);
}

TEST(RegularExpression, BadPatternsAndBadRanges) {
    std::string error;
    EXPECT_EQ(QMRegularExpression::regularExpressionWithPattern("BANDWIDTH=(", 0, &error), nullptr);
    EXPECT_NE(error.find("offset"), std::string::npos) << error;
    EXPECT_EQ(QMSubstring("abc", {3, 0}), "");
    EXPECT_THROW(QMSubstring("abc", {2, 2}), QMInvalidArgumentException);
    EXPECT_THROW(QMSubstring("abc", {}), QMInvalidArgumentException);
}

}  // namespace veyrakit
