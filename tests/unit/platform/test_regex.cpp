#include <gtest/gtest.h>

#include "platform/QMException.h"
#include "platform/QMRegularExpression.h"

namespace {

std::shared_ptr<QMRegularExpression> compile(const std::string& pattern, unsigned options) {
    std::string error;
    auto regex = QMRegularExpression::regularExpressionWithPattern(pattern, options, &error);
    EXPECT_TRUE(regex) << pattern << ": " << error;
    return regex;
}

// The bandwidth and resolution patterns hold the regular-expression escapes \n and \r (a
// backslash and a letter), not raw line breaks.
const std::string kBandwidthPattern = "BANDWIDTH=(.*?)[,\\n\\r]";
const std::string kResolutionPattern = "RESOLUTION=(.*?)[,\\n\\r]";

// The attribute value: from after the attribute name up to, not including, the match's last
// character.
std::vector<std::string> attributeValues(const QMRegularExpression& regex, const std::string& text,
                                         std::size_t nameLength) {
    std::vector<std::string> values;
    for (const auto& match : regex.matchesInString(text)) {
        QMRange r = match.range();
        values.push_back(QMSubstring(text, {r.location + nameLength, r.length - nameLength - 1}));
    }
    return values;
}

}  // namespace

TEST(RegularExpression, BlankTestMatchesOnlyWhitespaceOrNothing) {
    auto blank = compile("^[\\s]*$", NSRegularExpressionCaseInsensitive);
    for (const std::string text : {"", " ", "\t\t", " \t \n", "\r\n", "\xC2\xA0"}) {
        EXPECT_EQ(blank->numberOfMatchesInString(text), 1u) << "[" << text << "]";
    }
    for (const std::string text : {"a", " a ", "\tx\t", "0", "a\n", "\n\nb"}) {
        EXPECT_EQ(blank->numberOfMatchesInString(text), 0u) << "[" << text << "]";
    }
}

TEST(RegularExpression, StreamTypePatternsAreCaseInsensitiveAndAnchoredAtTheEnd) {
    auto pdl = compile(".*\\.mp4$", NSRegularExpressionCaseInsensitive);
    auto hls = compile(".*\\.m3u8$", NSRegularExpressionCaseInsensitive);
    auto dash = compile(".*\\.mpd$", NSRegularExpressionCaseInsensitive);

    EXPECT_EQ(pdl->numberOfMatchesInString("https://cdn.example/movie.MP4"), 1u);
    EXPECT_EQ(pdl->numberOfMatchesInString("file:///tmp/a.mp4"), 1u);
    EXPECT_EQ(pdl->numberOfMatchesInString("https://cdn.example/movie.mp4?sig=1"), 0u);
    EXPECT_EQ(pdl->numberOfMatchesInString("https://cdn.example/movie_mp4"), 0u);  // the dot is literal
    EXPECT_EQ(hls->numberOfMatchesInString("https://h/index.m3u8"), 1u);
    EXPECT_EQ(hls->numberOfMatchesInString("https://h/index.M3U8"), 1u);
    EXPECT_EQ(hls->numberOfMatchesInString("https://h/index.m3u8?token=x"), 0u);
    EXPECT_EQ(dash->numberOfMatchesInString("https://h/manifest.mpd"), 1u);
    EXPECT_EQ(dash->numberOfMatchesInString("https://h/manifest.mpd#t=10"), 0u);
    EXPECT_EQ(dash->numberOfMatchesInString(""), 0u);

    // Without the option case matters.
    EXPECT_EQ(compile(".*\\.mp4$", 0)->numberOfMatchesInString("a.MP4"), 0u);
}

TEST(RegularExpression, PlaylistBandwidthsIncludingAverageBandwidthInTextOrder) {
    auto bandwidth = compile(kBandwidthPattern, 0);
    ASSERT_EQ(kBandwidthPattern.size(), 22u);
    ASSERT_EQ(kResolutionPattern.size(), 23u);
    const std::string playlist =
        "#EXTM3U\n"
        "#EXT-X-STREAM-INF:AVERAGE-BANDWIDTH=1100000,BANDWIDTH=1280000,RESOLUTION=640x360\n"
        "low.m3u8\r\n"
        "#EXT-X-STREAM-INF:BANDWIDTH=2560000\r\n"
        "high.m3u8\n"
        "#EXT-X-STREAM-INF:BANDWIDTH=5120000";  // last attribute of the text: no terminator, no match

    EXPECT_EQ(attributeValues(*bandwidth, playlist, 10), (std::vector<std::string>{"1100000", "1280000", "2560000"}));
    EXPECT_EQ(bandwidth->numberOfMatchesInString(playlist), 3u);
}

TEST(RegularExpression, PlaylistResolutionEndedByLineBreakOrCommaButNotByTheEndOfText) {
    auto resolution = compile(kResolutionPattern, 0);
    EXPECT_EQ(attributeValues(*resolution, "#X:BANDWIDTH=1280000,RESOLUTION=640x360\nv.m3u8\n", 11),
              (std::vector<std::string>{"640x360"}));
    EXPECT_EQ(attributeValues(*resolution, "#X:RESOLUTION=1920x1080,CODECS=\"avc1\"\n", 11),
              (std::vector<std::string>{"1920x1080"}));
    EXPECT_EQ(resolution->numberOfMatchesInString("#X:BANDWIDTH=1,RESOLUTION=640x360"), 0u);
    // Lazy capture: stops at the first terminator, even an empty value.
    EXPECT_EQ(attributeValues(*resolution, "RESOLUTION=,x\n", 11), (std::vector<std::string>{""}));
}

TEST(RegularExpression, CaptureRangesAndGroupsThatDidNotTakePart) {
    auto regex = compile("(a)|(b)", 0);
    auto matches = regex->matchesInString("xbza");
    ASSERT_EQ(matches.size(), 2u);
    EXPECT_EQ(matches[0].numberOfRanges(), 3u);
    EXPECT_EQ(matches[0].range().location, 1u);
    EXPECT_EQ(matches[0].range().length, 1u);
    EXPECT_EQ(matches[0].rangeAtIndex(1).location, NSNotFound);
    EXPECT_EQ(matches[0].rangeAtIndex(2).location, 1u);
    EXPECT_EQ(matches[1].rangeAtIndex(1).location, 3u);
    EXPECT_EQ(matches[1].rangeAtIndex(2).location, NSNotFound);
    EXPECT_EQ(matches[1].rangeAtIndex(7).location, NSNotFound);

    EXPECT_EQ(regex->firstMatchInString("zzz").numberOfRanges(), 0u);
    EXPECT_EQ(regex->firstMatchInString("zzb").range().location, 2u);
}

TEST(RegularExpression, EmptyMatchesAdvanceOneCharacterAndOffsetsAreBytes) {
    auto regex = compile("a*", 0);
    auto matches = regex->matchesInString("baaa");
    ASSERT_EQ(matches.size(), 3u);
    EXPECT_EQ(matches[0].range().location, 0u);
    EXPECT_EQ(matches[0].range().length, 0u);
    EXPECT_EQ(matches[1].range().location, 1u);
    EXPECT_EQ(matches[1].range().length, 3u);
    EXPECT_EQ(matches[2].range().location, 4u);
    EXPECT_EQ(matches[2].range().length, 0u);

    // "é" is two bytes; an empty match steps over whole characters.
    EXPECT_EQ(compile("x*", 0)->numberOfMatchesInString("\xC3\xA9"), 2u);
    auto after = compile("b", 0)->firstMatchInString("\xC3\xA9" "b");
    EXPECT_EQ(after.range().location, 2u);
    // Invalid UTF-8 in the subject does not stop matching.
    EXPECT_EQ(compile("b", 0)->numberOfMatchesInString("\xFF" "b" "\xC3" "b"), 2u);
}

TEST(RegularExpression, BadPatternGivesNothingWithAReason) {
    std::string error;
    EXPECT_EQ(QMRegularExpression::regularExpressionWithPattern("BANDWIDTH=(", 0, &error), nullptr);
    EXPECT_NE(error.find("offset"), std::string::npos) << error;
    EXPECT_EQ(QMRegularExpression::regularExpressionWithPattern("[", 0), nullptr);
}

TEST(RegularExpression, SubstringRejectsRangesOutsideTheString) {
    EXPECT_EQ(QMSubstring("abcdef", {2, 3}), "cde");
    EXPECT_EQ(QMSubstring("abc", {3, 0}), "");
    EXPECT_THROW(QMSubstring("abc", {2, 2}), QMInvalidArgumentException);
    EXPECT_THROW(QMSubstring("abc", {}), QMInvalidArgumentException);
}
