#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "simulator/QMScenarioException.h"
#include "simulator/QMScenarioParser.h"

namespace veyrakit {

namespace {

const char* const header =
    "player avplayer\n"
    "url https://media.example.invalid/vod/a/master.m3u8\n"
    "duration 2:00\n"
    "variant 800000 960x540\n"
    "variant 1500000 1280x720 uri=https://cdn.example.invalid/hi.m3u8\n";

std::string rejection(const std::string& text) {
    try {
        QMScenarioParser::parse(text, "t.scenario");
    } catch (const QMScenarioException& e) {
        return e.reason();
    }
    return "accepted";
}

}  // namespace

TEST(QMScenarioParser, ReadsHeaderStepsOptionsAndQuotedTexts) {
    auto scenario = QMScenarioParser::parse(
        std::string(header) +
        "# a comment line\n"
        "at 0 play   # trailing comment\n"
        "at 1.5 ready\n"
        "at 0:10 bitrate 1500000 observed=2400000\n"
        "at 0:20 server-error -12938 comment=\"HTTP 404: \\\"x\\\" # not a comment\"\n"
        "at 0:30 fail player code=-1 message=\"it broke\"\n"
        "at 0:31 fault-report E42 \"9.1 beta\"\n");
    EXPECT_EQ(scenario->playerKind(), QMScenarioPlayerKind::AVPlayer);
    EXPECT_EQ(scenario->durationMillis(), 120000);
    EXPECT_FALSE(scenario->playlistServed());
    EXPECT_TRUE(QMScenarioParser::parse(std::string(header) + "playlist served\n")->playlistServed());
    // A stall keeps the rate unless the scenario asks for the older behaviour.
    EXPECT_EQ(scenario->stallBehaviour(), QMScenarioStallBehaviour::RateStays);
    EXPECT_EQ(QMScenarioParser::parse(std::string(header) + "stall-behaviour rate-drops\n")->stallBehaviour(),
              QMScenarioStallBehaviour::RateDrops);
    EXPECT_EQ(QMScenarioParser::parse(std::string(header) + "stall-behaviour rate-stays\n")->stallBehaviour(),
              QMScenarioStallBehaviour::RateStays);
    EXPECT_EQ(rejection(std::string(header) + "stall-behaviour drops\n"),
              "t.scenario:6: 'stall-behaviour' is rate-stays or rate-drops, not 'drops'");
    ASSERT_EQ(scenario->variants().size(), 2u);
    EXPECT_EQ(scenario->variants()[0].resolution->width, 960.0);
    EXPECT_FALSE(scenario->variants()[0].URI.has_value());
    EXPECT_EQ(*scenario->variants()[1].URI, "https://cdn.example.invalid/hi.m3u8");
    const auto& steps = scenario->steps();
    ASSERT_EQ(steps.size(), 6u);
    EXPECT_EQ(steps[1].atMillis, 1500);
    EXPECT_EQ(steps[1].line, 8);
    EXPECT_EQ(steps[2].bitrate, 1500000);
    EXPECT_EQ(*steps[2].observedBitrate, 2400000.0);
    EXPECT_EQ(steps[3].code, -12938);
    EXPECT_EQ(*steps[3].domain, "CoreMediaErrorDomain");
    EXPECT_EQ(*steps[3].text, "HTTP 404: \"x\" # not a comment");
    EXPECT_EQ(steps[4].failTarget, QMScenarioFailTarget::Player);
    EXPECT_EQ(steps[4].code, -1);
    EXPECT_EQ(*steps[4].domain, "AVFoundationErrorDomain");
    EXPECT_EQ(*steps[4].text, "it broke");
    EXPECT_EQ(steps[5].errorCode, "E42");
    EXPECT_EQ(steps[5].playerVersion, "9.1 beta");
}

TEST(QMScenarioParser, TimedStallRecoversBeforeStepsOfTheSameMoment) {
    auto scenario = QMScenarioParser::parse(std::string(header) +
                                            "at 0 ready\n"
                                            "at 10 stall 2.5\n"
                                            "at 11 pause\n"
                                            "at 12.5 play\n"
                                            "at 12.5 stall\n"
                                            "at 13 recover\n");
    std::vector<std::string> order;
    for (const auto& step : scenario->steps()) {
        order.push_back(std::to_string(step.atMillis) + " " + QMScenarioStep::keyword(step.action));
    }
    EXPECT_EQ(order, (std::vector<std::string>{"0 ready", "10000 stall", "11000 pause", "12500 recover",
                                               "12500 play", "12500 stall", "13000 recover"}));
}

TEST(QMScenarioParser, TimesAcceptHoursMinutesAndMilliseconds) {
    EXPECT_EQ(QMScenarioParser::parseTime("90"), 90000);
    EXPECT_EQ(QMScenarioParser::parseTime("1:30.25"), 90250);
    EXPECT_EQ(QMScenarioParser::parseTime("1:02:03.5"), 3723500);
    EXPECT_EQ(QMScenarioParser::parseTime("0.001"), 1);
    for (const char* bad : {"1:60", "1:2:3:4", "0.0001", "-1", "1.", "", "1:", "1e3", ":5"}) {
        EXPECT_FALSE(QMScenarioParser::parseTime(bad).has_value()) << bad;
    }
}

TEST(QMScenarioParser, MalformedScenariosNameTheLineAndTheFault) {
    const std::string h = header;  // five lines
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"player vlc\n", "t.scenario:1: 'player' is avplayer or mpmovieplayer, not 'vlc'"},
        {h + "colour red\n", "t.scenario:6: unknown directive 'colour'"},
        {h + "at 0 jump\n", "t.scenario:6: unknown action 'jump'"},
        {h + "at 1:75 play\n", "t.scenario:6: expected a time ([[h:]m:]s[.fff]), found '1:75'"},
        {h + "at 10 play\nat 5 pause\n",
         "t.scenario:7: steps must be in time order: 0:05.000 comes after 0:10.000"},
        {h + "at 0 ready\nat 1 bitrate 2000000\n",
         "t.scenario:7: bitrate 2000000 is not in the variant ladder"},
        {h + "at 0 play now\n", "t.scenario:6: 'play' takes no arguments"},
        {h + "at 0 bitrate 800000 speed=2\n", "t.scenario:6: 'bitrate' has no option 'speed'"},
        {h + "at 0 server-error 404 comment=\"open\n", "t.scenario:6: unterminated quote"},
        {h + "at 0 airplay on\n", "t.scenario:6: 'airplay' is only for an mpmovieplayer scenario"},
        {h + "at 0 stall\n", "t.scenario:6: 'stall' before 'ready': the item is still loading"},
        {h + "at 0 ready\nat 1 stall 5\nat 3 recover\n",
         "t.scenario:8: the stall of line 7 recovers by itself at 0:06.000"},
        {h + "at 0 ready\nat 1 stall\nat 2 stall\n", "t.scenario:8: already stalled since line 7"},
        {h + "at 0 recover\n", "t.scenario:6: 'recover' without a stall"},
        {h + "at 0 ready\nat 1 ready\n", "t.scenario:7: 'ready' was already given on line 6"},
        {h + "at 0 stop\nat 1 ads-stop\nat 2 play\n",
         "t.scenario:8: 'play' after the playback was over (line 6): only host steps may follow"},
        {h + "at 0 seek 2:00.001\n", "t.scenario:6: seek to 2:00.001 is beyond the duration 2:00.000"},
        {h + "at 0 play\nsize 640x360\n", "t.scenario:7: 'size' must come before the first step"},
        {h + "duration 5\n", "t.scenario:6: 'duration' was already given on line 3"},
        {"url https://a.invalid/x.mp4\n\nat 0 play\n",
         "t.scenario:3: the header has no 'duration' (seconds, m:ss, or live)"},
        {"duration live\n", "t.scenario:1: the header has no 'url'"},
        {"player mpmovieplayer\nasset other\nduration 5\n",
         "t.scenario:3: 'asset other' is only for an avplayer scenario"},
        {"url notaurl\n", "t.scenario:1: 'notaurl' is not a URL"},
        {"variant 0\n", "t.scenario:1: a bitrate must be more than zero"},
        {h + "playlist local\n", "t.scenario:6: 'playlist' is served, not 'local'"},
        {"asset other\nduration 5\nplaylist served\n", "t.scenario:3: 'playlist served' needs a URL asset"},
        {"url https://a.invalid/x.m3u8\nduration 5\nplaylist served\n",
         "t.scenario:3: 'playlist served' needs a variant ladder ('variant' lines)"},
        {"variant 800 640by360\n", "t.scenario:1: expected a resolution such as 1280x720, found '640by360'"},
    };
    for (const auto& [text, reason] : cases) {
        EXPECT_EQ(rejection(text), reason) << text;
    }
}

TEST(QMScenarioParser, AssetOtherNeedsNoURLAndUnreadableFileIsLineZero) {
    auto scenario = QMScenarioParser::parse("asset other\nduration live\n");
    EXPECT_FALSE(scenario->isURLAsset());
    EXPECT_FALSE(scenario->url().has_value());
    EXPECT_TRUE(scenario->isLive());
    try {
        QMScenarioParser::parseFile("/nonexistent/x.scenario");
        FAIL() << "no exception";
    } catch (const QMScenarioException& e) {
        EXPECT_EQ(e.line(), 0);
        EXPECT_EQ(e.name(), "QMScenarioException");
        EXPECT_EQ(e.reason(), "/nonexistent/x.scenario:0: cannot read the scenario file");
    }
}

}  // namespace veyrakit
