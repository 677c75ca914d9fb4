#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "collector/QMJSONLayout.h"
#include "collector/QMSessionAnalyzer.h"
#include "collector/QMSessionTimeline.h"

namespace veyrakit {

using Json = nlohmann::ordered_json;

namespace {

const std::string kSession = "5E55-10N";
const int64_t kStart = 1'700'000'000'000;
const char* const kAgent = "iosApp/5.0 (iPhone; CPU iOS 17.0 like Mac OS X)";

void setBody(QMCollectorRequest& request, const Json& body) {
    request.body = body.dump();
    request.headers = {{"Content-Length", std::to_string(request.body.size())},
                       {"Content-Type", "application/json"},
                       {"User-Agent", kAgent}};
}

Json initBody() {
    return Json::parse(R"({"assetId":"A-1","qmrCID":"C-1","assetName":"Film","protocolVersion":"1.1",
        "mediaUrl":"https://media.invalid/a.m3u8","streamType":"HLS","assetType":"VOD",
        "assetMetadata":[{"key":"genre","values":["a","b"]}],
        "uniqueViewerData":[{"key":"viewerId","values":"V-9"},{"key":"viewerIdInCookie","values":["true"]}]})");
}

Json report(const std::string& type, int pulse, Json values = Json::object()) {
    Json body{{"sessionId", kSession}, {"type", type}};
    body.update(values);
    if (pulse > 0) body["pulseNumber"] = pulse;
    return body;
}

// An AVPlayer reporter's post of three events.
Json sessionEvents() {
    auto event = [](int index, const char* name, Json info) {
        Json record{{"index", index}, {"timestamp", kStart + 4000 + index}, {"name", name}};
        if (!info.is_null()) record["info"] = std::move(info);
        return record;
    };
    return {{"session",
             {{"temporarySessionId", "0C1D2E3F-4A5B-4C6D-8E7F-A0B1C2D3E4F5"}, {"sessionId", kSession}}},
            {"events",
             {event(1, "init", nullptr), event(2, "rate", {{"rate", 1}}),
              event(3, "playbackPosition", {{"position", 0.5}})}}};
}

Json periodical(int number, int pulse, Json values) {
    Json body{{"type", "P"}, {"sessionId", kSession}};
    body.update(values);
    body["periodicalNumber"] = number;
    body["pulseNumber"] = pulse;
    return body;
}

class SessionAnalysis : public ::testing::Test {
  protected:
    void SetUp() override {
        add(QMCollectorEndpoint::Init, 0, initBody());
        add(QMCollectorEndpoint::Report, 1500, report("J", 1, {{"joinTime", 1200}}));
        add(QMCollectorEndpoint::Report, 1510, report("D", 2, {{"duration", "120"}}));
        add(QMCollectorEndpoint::Report, 1520, report("S", 3));
        add(QMCollectorEndpoint::Report, 1530, report("B", 4, {{"bitrates", {800000, 1500000}}}));
        add(QMCollectorEndpoint::Report, 1600,
            periodical(1, 5,
                       {{"totalBufferingTime", "0"},
                        {"currentBufferingTime", "0"},
                        {"totalPlayingTime", "100"},
                        {"currentBitRate", 800000},
                        {"playing", 1},
                        {"alive", "1"}}));
        auto& events = add(QMCollectorEndpoint::SessionEvents, 5000, sessionEvents());
        events.body = QMJSONLayout::pretty(events.body);
        add(QMCollectorEndpoint::Report, 11600,
            periodical(2, 6,
                       {{"totalBufferingTime", "700"},
                        {"currentBufferingTime", "700"},
                        {"totalPlayingTime", "9400"},
                        {"currentBitRate", 800000}}));
        add(QMCollectorEndpoint::Report, 13000,
            periodical(3, 7,
                       {{"totalBufferingTime", "700"},
                        {"currentBufferingTime", "0"},
                        {"totalPlayingTime", "10800"},
                        {"currentBitRate", 800000}}));
        add(QMCollectorEndpoint::Report, 23000,
            periodical(4, 8,
                       {{"totalBufferingTime", "1000"},
                        {"currentBufferingTime", "300"},
                        {"totalPlayingTime", "20500"},
                        {"currentBitRate", 1500000}}));
        add(QMCollectorEndpoint::Report, 25000,
            periodical(5, 9,
                       {{"totalBufferingTime", "1000"},
                        {"currentBufferingTime", "0"},
                        {"totalPlayingTime", "22500"},
                        {"totalViewedTime", "22000"},
                        {"totalFullScreenTime", "6000"},
                        {"totalElapsedTime", "25000"},
                        {"assetDuration", "120"},
                        {"currentBitRate", 1500000},
                        {"playing", false},
                        {"playbackCompleted", true}}));
        add(QMCollectorEndpoint::Report, 25100,
            report("L", 0,
                   {{"logArray",
                     {{{"date", "2023-11-14T22:13:45.100Z"},
                       {"log", "playback completed. Last P"},
                       {"level", "I"},
                       {"prefix", "T"}},
                      {{"date", "2023-11-14T22:13:45.101Z"},
                       {"log", "Disposing all parts"},
                       {"level", "I"},
                       {"prefix", "T"}}}},
                    {"cid", {"C-1"}}}));
    }

    QMCollectorRequest& add(QMCollectorEndpoint endpoint, int64_t at, const Json& body,
                            const std::string& answer = R"({"skipReports":0})") {
        QMCollectorRequest request;
        request.id = nextId++;
        request.receivedMillis = kStart + at;
        request.endpoint = endpoint;
        request.method = "POST";
        request.path = endpoint == QMCollectorEndpoint::Init ? "/player/init" : "/player/report";
        request.sessionId = kSession;
        request.answerStatus = 200;
        request.answerBody = answer;
        setBody(request, body);
        requests.push_back(request);
        return requests.back();
    }

    QMCollectorRequest& byId(int64_t id) {
        return *std::find_if(requests.begin(), requests.end(), [&](const auto& r) { return r.id == id; });
    }
    void edit(int64_t id, const std::function<void(Json&)>& change) {
        Json body = Json::parse(byId(id).body);
        change(body);
        setBody(byId(id), body);
    }

    QMSessionAnalysis analyze(int64_t at = 26000, bool known = true) const {
        return QMSessionAnalyzer(60000).analyze(kSession, known, requests, kStart + at);
    }

    // "#<request id> <message>" of every violation of one check, and its status.
    static std::vector<std::string> violations(const QMSessionAnalysis& analysis, const std::string& name) {
        std::vector<std::string> lines;
        for (const auto& violation : analysis.check(name)->violations()) {
            lines.push_back("#" + std::to_string(violation.requestId) + " " + violation.message);
        }
        return lines;
    }
    static std::string status(const QMSessionAnalysis& analysis, const std::string& name) {
        return QMProtocolCheck::statusName(analysis.check(name)->status());
    }

    std::vector<QMCollectorRequest> requests;
    int64_t nextId = 1;
};

}  // namespace

TEST_F(SessionAnalysis, CompleteSessionSummaryAndEveryCheckPassing) {
    auto analysis = analyze();
    EXPECT_EQ(analysis.state, "completed");
    // An AVPlayer session sends nothing on the movie player's diagnostic stream.
    for (const auto& check : analysis.checks) {
        EXPECT_EQ(status(analysis, check.name()),
                  check.name().starts_with("diagnosticEvents.") ? "notApplicable" : "passed")
            << check.name();
    }
    EXPECT_EQ(analysis.checks.size(), 15u);
    const Json& s = analysis.summary;
    EXPECT_EQ(s["reports"].dump(), R"({"J":1,"D":1,"S":1,"B":1,"P":5,"L":1,"retransmissions":0})");
    EXPECT_EQ(s["asset"]["assetName"], "Film");
    EXPECT_EQ(s["spanMs"], 25100);
    EXPECT_EQ(s["joinTimeMs"], 1200);
    EXPECT_EQ(s["totalBufferingMs"], 1000);
    EXPECT_EQ(s["intervalBufferingMs"].dump(), "[0,700,0,300,0]");
    EXPECT_DOUBLE_EQ(s["rebufferingRatio"].get<double>(), 1000.0 / 23500.0);
    EXPECT_EQ(s["playingTimeMs"], 22500);
    EXPECT_EQ(s["viewedTimeMs"], 22000);
    EXPECT_EQ(s["fullScreenTimeMs"], 6000);
    EXPECT_EQ(s["elapsedTimeMs"], 25000);
    EXPECT_EQ(s["durationSeconds"], 120);
    EXPECT_EQ(s["bitrateSwitches"], 1);
    EXPECT_EQ(s["bitrateTimeline"][3].dump(),
              R"({"periodicalNumber":4,"receivedAt":1700000023000,"bitrate":1500000})");
    EXPECT_EQ(s["availableBitrates"].dump(), "[800000,1500000]");
    EXPECT_EQ(s["completed"], true);
    EXPECT_EQ(s["logLines"], 2);
    EXPECT_EQ(s["diagnosticEvents"], 3);
}

TEST_F(SessionAnalysis, TimelineIntervalsBitrateStepsAndDiagnosticEventsForTheDashboard) {
    // The player's clock says 24 s where the wall clock says 25 s: charts follow the player's.
    edit(11, [](Json& body) { body["totalElapsedTime"] = "24000"; });
    add(QMCollectorEndpoint::Report, 13100, Json::parse(byId(9).body));  // a transport retry
    QMSessionView view(kSession, true, requests, kStart + 26000, 60000, false);
    Json t = QMSessionTimeline::build(view, analyze().checks);

    ASSERT_EQ(t["timeline"].size(), 13u);
    EXPECT_EQ(
        t["timeline"][0].dump(),
        R"({"id":1,"offsetMs":0,"kind":"init","pulseNumber":null,"periodicalNumber":null,)"
        R"("values":{"assetId":"A-1","assetType":"VOD","streamType":"HLS","mediaUrl":"https://media.invalid/a.m3u8"},)"
        R"("answer":{"status":200,"body":{"skipReports":0}},"retransmission":false})");
    EXPECT_EQ(t["timeline"][4]["values"].dump(), R"({"bitrates":[800000,1500000]})");
    EXPECT_EQ(t["timeline"][6]["kind"], "sessionEvents");
    EXPECT_EQ(t["timeline"][6]["values"].dump(), R"({"events":3,"firstIndex":1,"lastIndex":3})");
    EXPECT_EQ(t["timeline"][7]["periodicalNumber"], 2);
    EXPECT_EQ(t["timeline"][7]["pulseNumber"], 6);
    EXPECT_EQ(t["timeline"][11]["values"].dump(), R"({"logArray":"2 entries","cid":["C-1"]})");
    EXPECT_EQ(t["timeline"][12]["offsetMs"], 13100);
    EXPECT_EQ(t["timeline"][12]["retransmission"], true);

    // By periodical number; the retry is not an interval of its own.
    ASSERT_EQ(t["intervals"].size(), 5u);
    EXPECT_EQ(t["intervals"][0].dump(),
              R"({"periodicalNumber":1,"atMs":1600,"bufferingMs":0,"playingMs":null,"viewedMs":null,)"
              R"("fullScreenMs":null,"totalBufferingMs":0,"totalPlayingMs":100,"totalViewedMs":null,)"
              R"("totalFullScreenMs":null})");
    EXPECT_EQ(t["intervals"][1]["bufferingMs"], 700);
    EXPECT_EQ(t["intervals"][4]["atMs"], 24000);
    EXPECT_EQ(t["intervals"][4]["totalFullScreenMs"], 6000);

    std::vector<bool> switches;
    for (const auto& step : t["bitrate"]) switches.push_back(step["switch"].get<bool>());
    EXPECT_EQ(switches, (std::vector<bool>{false, false, false, true, false}));
    EXPECT_EQ(t["bitrate"][3].dump(),
              R"({"periodicalNumber":4,"atMs":23000,"bitrate":1500000,"switch":true})");

    EXPECT_EQ(t["diagnosticEvents"].dump(),
              R"({"firstTimestamp":1700000004001,"names":[{"name":"init","atMs":[0]},)"
              R"({"name":"rate","atMs":[1]},{"name":"playbackPosition","atMs":[2]}]})");
}

// A player's numbers may lie anywhere in 64 bits: the span of two timestamps and the sum of two
// totals are worked out without overflowing (the span is unsigned, the sum a double).
TEST_F(SessionAnalysis, NumbersAtTheEndsOf64BitsNeitherOverflowNorWrap) {
    edit(7, [](Json& body) {
        body["events"][0]["timestamp"] = INT64_MIN;
        body["events"][2]["timestamp"] = INT64_MAX;
    });
    edit(11, [](Json& body) {
        body["totalBufferingTime"] = "999999999999999999";
        body["totalPlayingTime"] = INT64_MAX;
    });
    QMSessionView view(kSession, true, requests, kStart + 26000, 60000, false);
    EXPECT_EQ(QMSessionTimeline::build(view, {})["diagnosticEvents"].dump(),
              R"({"firstTimestamp":-9223372036854775808,"names":[{"name":"init","atMs":[0]},)"
              R"({"name":"rate","atMs":[9223373736854779810]},)"
              R"({"name":"playbackPosition","atMs":[18446744073709551615]}]})");
    EXPECT_DOUBLE_EQ(analyze().summary["rebufferingRatio"].get<double>(),
                     999999999999999999.0 / (999999999999999999.0 + 9223372036854775807.0));
}

TEST_F(SessionAnalysis, EachViolationNamesTheRequestThatBrokeItAndPhasesInThreeWords) {
    QMSessionView view(kSession, false, requests, kStart + 26000, 60000, false);
    Json checks = QMSessionTimeline::build(view, analyze(26000, false).checks)["checks"];
    EXPECT_EQ(checks[1]["name"], "session.known");
    EXPECT_EQ(checks[1]["violations"].size(), 10u);  // every report
    EXPECT_EQ(checks[1]["violations"][0]["request"].dump(),
              R"({"id":2,"offsetMs":1500,"kind":"J","pulseNumber":1})");
    EXPECT_EQ(checks[0]["violations"].size(), 0u);

    EXPECT_EQ(analyze().phase, "ended");
    using State = QMSessionView::State;
    std::vector<std::string> phases;
    for (auto state : {State::Active, State::Completed, State::Error, State::EndedByServer, State::Abandoned,
                       State::Ended}) {
        phases.push_back(QMSessionView::phaseName(state));
    }
    EXPECT_EQ(phases,
              (std::vector<std::string>{"running", "ended", "destroyed", "destroyed", "destroyed", "ended"}));
}

TEST_F(SessionAnalysis, ReportsArrivingOutOfOrderAndRetransmissionsAreNoViolation) {
    std::swap(requests[7], requests[8]);  // periodical 3 (pulse 7) overtakes periodical 2 (pulse 6)
    add(QMCollectorEndpoint::Report, 25050, Json::parse(byId(11).body));  // a retry of the last report
    auto analysis = analyze();
    EXPECT_TRUE(analysis.passed()) << analysis.toJSON().dump(2);
    EXPECT_EQ(analysis.summary["reports"]["retransmissions"], 1);
    EXPECT_EQ(analysis.summary["intervalBufferingMs"].dump(), "[0,700,0,300,0]");
}

TEST_F(SessionAnalysis, PulseGapRepeatAndReportsAfterCompletion) {
    requests.erase(requests.begin() + 3);  // the session start report, pulse 3, never arrived
    add(QMCollectorEndpoint::Report, 25200,
        report("F", 1, {{"manual", 1}, {"errorCode", "E7"}, {"playerVersion", "2"}}));
    auto analysis = analyze();
    EXPECT_EQ(violations(analysis, "pulse.gapFree"),
              (std::vector<std::string>{"#13 pulse number 1 used again (first by request #2)",
                                        "#5 pulse number 4 follows 2: 3 missing"}));
    EXPECT_EQ(violations(analysis, "completion.final"),
              (std::vector<std::string>{
                  "#13 a \"F\" report after the report that completed playback (request #11)"}));
}

TEST_F(SessionAnalysis, PeriodicalNumberJumpAndFallingPulse) {
    edit(9, [](Json& b) { b["periodicalNumber"] = 4; });
    edit(10, [](Json& b) { b["periodicalNumber"] = 5; });
    edit(11, [](Json& b) {
        b["periodicalNumber"] = 6;
        b["pulseNumber"] = 4;
    });
    auto analysis = analyze();
    EXPECT_EQ(violations(analysis, "periodical.sequence"),
              (std::vector<std::string>{
                  "#11 periodical number 6 carries pulse number 4, not above 8 of the one before",
                  "#9 periodical number 4 follows 2: 3 missing"}));
}

TEST_F(SessionAnalysis, ValueTypesNumbersWhereStringsBelongAndStrayKeys) {
    edit(8, [](Json& b) {
        b["totalPlayingTime"] = 9400;
        b["joinTime"] = 1200;
    });
    edit(2, [](Json& b) { b["joinTime"] = "1200"; });
    edit(3, [](Json& b) { b["duration"] = 120; });
    edit(12, [](Json& b) { b["pulseNumber"] = 10; });
    edit(11, [](Json& b) {
        b["playbackCompleted"] = false;
        b["alive"] = "yes";
    });
    auto analysis = analyze();
    EXPECT_EQ(
        violations(analysis, "values.types"),
        (std::vector<std::string>{"#2 \"joinTime\" is \"1200\", expected an integer",
                                  "#3 \"duration\" is 120, expected a string of decimal digits",
                                  "#8 \"totalPlayingTime\" is 9400, expected a string of decimal digits",
                                  "#8 unexpected key \"joinTime\" in a \"P\" report",
                                  "#11 \"playbackCompleted\" is false, expected true",
                                  "#11 \"alive\" is \"yes\", expected a string of decimal digits"}));
    EXPECT_EQ(violations(analysis, "pulse.gapFree"),
              (std::vector<std::string>{"#12 a log report carries \"pulseNumber\""}));
}

TEST_F(SessionAnalysis, MissingCompletionIsPendingWhileActiveThenAViolation) {
    edit(11, [](Json& b) { b.erase("playbackCompleted"); });
    EXPECT_EQ(analyze(26000).state, "active");
    EXPECT_EQ(status(analyze(26000), "completion.final"), "pending");
    auto idle = analyze(25100 + 60001);
    EXPECT_EQ(idle.state, "abandoned");
    EXPECT_EQ(
        violations(idle, "completion.final"),
        (std::vector<std::string>{"#11 the session ended without a report carrying \"playbackCompleted\""}));
    EXPECT_EQ(QMSessionAnalyzer(60000).analyze(kSession, true, requests, kStart + 26000, true).state,
              "abandoned");

    byId(10).answerBody = R"({"skipReports":"-2"})";  // the collector ended the session
    auto ended = analyze(25100 + 60001);
    EXPECT_EQ(ended.state, "endedByServer");
    EXPECT_EQ(status(ended, "completion.final"), "notApplicable");
}

TEST_F(SessionAnalysis, JoinTimeAndDurationExactlyOnce) {
    add(QMCollectorEndpoint::Report, 25300, report("J", 10, {{"joinTime", 0}}));
    auto twice = analyze();
    EXPECT_EQ(violations(twice, "joinTime.once"),
              (std::vector<std::string>{"#13 another \"J\" report (the first was request #2)"}));

    requests.erase(requests.begin() + 1, requests.begin() + 3);  // no join time, no duration
    requests.pop_back();
    edit(11, [](Json& b) { b.erase("playbackCompleted"); });
    EXPECT_EQ(status(analyze(), "duration.once"), "pending");
    auto over = analyze(25100 + 60001);
    EXPECT_EQ(violations(over, "joinTime.once"),
              (std::vector<std::string>{
                  "#11 the session ended without a join-time report although playing time was reported"}));
    EXPECT_EQ(violations(over, "duration.once"),
              (std::vector<std::string>{"#11 the session ended without a playback-duration report"}));
}

TEST_F(SessionAnalysis, UnknownSessionBlamesEveryReport) {
    requests.erase(requests.begin());
    auto analysis = analyze(26000, false);
    EXPECT_FALSE(analysis.known);
    EXPECT_EQ(status(analysis, "init.wellFormed"), "notApplicable");
    auto blamed = violations(analysis, "session.known");
    ASSERT_EQ(blamed.size(), 10u);  // every report, not the diagnostic post
    EXPECT_EQ(blamed.front(), "#2 report names session \"5E55-10N\", which this collector never opened");
}

TEST_F(SessionAnalysis, MalformedSessionStartRequest) {
    edit(1, [](Json& b) {
        b["assetId"] = " \t";
        b["protocolVersion"] = 1.1;
        b["uniqueViewerData"][0]["values"] = {"V-9"};
        b["streamType"] = "DASH";
        b["extra"] = true;
        b.erase("mediaUrl");
    });
    byId(1).headers = {{"Content-Length", "12"},
                       {"Content-Type", "text/plain"},
                       {"User-Agent", "iosApp/5.0 (iPhone; CPU iOS 17.0)"}};
    auto lines = violations(analyze(), "init.wellFormed");
    std::vector<std::string> expected{
        "#1 the session start request has Content-Type \"text/plain\", expected \"application/json\"",
        "#1 the session start request has Content-Length \"12\" for a body of " +
            std::to_string(byId(1).body.size()) + " bytes",
        "#1 User-Agent \"iosApp/5.0 (iPhone; CPU iOS 17.0)\" is not \"iosApp/5.0 (<model>; CPU <system name> "
        "<system version> like Mac OS X)\"",
        "#1 the session start body without \"mediaUrl\"",
        "#1 \"assetId\" is \" \\t\", expected a non-blank string",
        "#1 \"protocolVersion\" is 1.1, expected the string \"1.1\"",
        "#1 \"streamType\" is \"DASH\", expected one of \"PDL\", \"HLS\", \"MPEG_DASH\", \"UNKNOWN\"",
        "#1 \"uniqueViewerData\" is "
        "[{\"key\":\"viewerId\",\"values\":[\"V-9\"]},{\"key\":\"viewerIdInCookie\","
        "\"values\":[\"true\"]}], expected [{\"key\": \"viewerIdInCookie\", \"values\": [\"false\"]}] or "
        "[{\"key\": \"viewerId\", \"values\": <string>}, {\"key\": \"viewerIdInCookie\", \"values\": "
        "[\"true\"]}]",
        "#1 unexpected key \"extra\" in the session start body"};
    EXPECT_EQ(lines, expected);
}

TEST_F(SessionAnalysis, ReportsThatAreNotReports) {
    add(QMCollectorEndpoint::Report, 25300, Json()).body = "type=P";
    add(QMCollectorEndpoint::Report, 25400, report("Z", 10));
    add(QMCollectorEndpoint::Report, 25500, Json{{"type", "E"}, {"pulseNumber", 11}});
    byId(15).method = "PUT";
    auto analysis = analyze();
    EXPECT_EQ(violations(analysis, "report.wellFormed"),
              (std::vector<std::string>{
                  "#13 the report has Content-Length \"4\" for a body of 6 bytes",
                  "#13 the report body is not a JSON object", "#14 unknown report type \"Z\"",
                  "#15 the report sent with PUT, not POST", "#15 the report has no string \"sessionId\""}));
    EXPECT_EQ(analysis.state, "completed");  // the stray "E" came after completion
    EXPECT_EQ(analysis.summary["reports"].dump(),
              R"({"J":1,"D":1,"S":1,"B":1,"P":5,"L":1,"?":1,"Z":1,"E":1,"retransmissions":0})");
}

TEST(SessionStore, AnalyzesOpenedAndMerelyNamedSessionsInOrderOfAppearance) {
    QMCollectorStore store(":memory:");
    auto put = [&](QMCollectorEndpoint endpoint, std::optional<std::string> session, const std::string& body,
                   std::optional<std::string> opened = std::nullopt) {
        QMCollectorRequest request;
        request.receivedMillis = kStart;
        request.endpoint = endpoint;
        request.method = "POST";
        request.path = "/player/report";
        request.sessionId = session;
        request.body = body;
        request.answerStatus = 200;
        return store.record(request, opened);
    };
    put(QMCollectorEndpoint::Init, std::nullopt, "{}");  // a throttled session start: no session
    put(QMCollectorEndpoint::Report, "GHOST", report("S", 1).dump());
    int64_t init = put(QMCollectorEndpoint::Init, "REAL", initBody().dump(), "REAL");
    put(QMCollectorEndpoint::Report, "REAL", report("S", 1).dump());
    EXPECT_EQ(store.sessionIdsSeen(), (std::vector<std::string>{"GHOST", "REAL"}));
    EXPECT_EQ(store.session("REAL")->initRequestId, init);
    EXPECT_EQ(store.requestsWithoutSession().size(), 1u);

    auto all = QMSessionAnalyzer(1000).analyzeAll(store, kStart + 10);
    ASSERT_EQ(all.size(), 2u);
    EXPECT_FALSE(all[0].known);
    EXPECT_EQ(all[0].violationCount(), 3u);  // unknown session, no Content-Type, no Content-Length
    EXPECT_TRUE(all[1].known);
    EXPECT_EQ(all[1].state, "active");
    EXPECT_EQ(QMSessionAnalyzer(1000).analyze(store, "NOBODY", kStart), std::nullopt);
}

namespace {

// The same session as a movie player plugin sends it: a boolean "playing", no "alive", no
// completion report; its end of playback sends nothing.
class MoviePlayerSessionAnalysis : public SessionAnalysis {
  protected:
    void SetUp() override {
        SessionAnalysis::SetUp();
        requests.pop_back();  // the log report
        for (int64_t id : {6, 8, 9, 10, 11}) {
            edit(id, [](Json& b) {
                b.erase("alive");
                b.erase("playbackCompleted");
                b["playing"] = true;
            });
        }
    }
};

}  // namespace

TEST_F(MoviePlayerSessionAnalysis, ASessionWithoutACompletionReportHasEndedOnceOver) {
    EXPECT_EQ(analyze().summary["plugin"], "iOS-MPMoviePlayerController");
    EXPECT_EQ(analyze().state, "active");
    EXPECT_EQ(status(analyze(), "completion.final"), "pending");
    auto over = analyze(25000 + 60001);
    EXPECT_EQ(over.state, "ended");
    EXPECT_EQ(over.summary["completed"], false);
    EXPECT_TRUE(over.passed()) << over.toJSON().dump(2);
    // The AVPlayer session of the fixture is told apart by its reports.
    requests.clear();
    SessionAnalysis::SetUp();
    EXPECT_EQ(analyze().summary["plugin"], "iOS-AVPlayer");
}

TEST_F(MoviePlayerSessionAnalysis, AlivePlayingFlagsCompletionAndReportsAfterTheErrorAreViolations) {
    add(QMCollectorEndpoint::Report, 25100, report("E", 10));
    add(QMCollectorEndpoint::Report, 25200, periodical(6, 11, {{"playing", 1}, {"alive", "0"}}));
    edit(9, [](Json& b) {
        b["bufferingTimeLeadingToNow"] = "0";
        b["playbackCompleted"] = true;
    });
    auto analysis = analyze(25200 + 60001);
    EXPECT_EQ(analysis.state, "completed");  // a completion report wins, as for any session
    EXPECT_EQ(violations(analysis, "values.types"),
              (std::vector<std::string>{
                  "#9 a periodical report of an MPMoviePlayerController session carries "
                  "\"bufferingTimeLeadingToNow\"",
                  "#14 a periodical report of an MPMoviePlayerController session carries \"alive\"",
                  "#14 \"playing\" is 1, expected a boolean from an MPMoviePlayerController"}));
    EXPECT_EQ(
        violations(analysis, "completion.final"),
        (std::vector<std::string>{
            "#9 an MPMoviePlayerController session ends at its player's finish without a completion report",
            "#14 a \"P\" report after the playback error report that ended the session (request #13)"}));
}

TEST_F(MoviePlayerSessionAnalysis, ALiveStreamNeedsNoDurationReport) {
    requests.erase(requests.begin() + 2);  // no "D": the player announced no duration
    for (int64_t id : {6, 8, 9, 10, 11}) {
        edit(id, [](Json& b) { b["assetDuration"] = "0"; });
    }
    EXPECT_EQ(status(analyze(25000 + 60001), "duration.once"), "notApplicable");
    edit(11, [](Json& b) { b["assetDuration"] = "120"; });
    EXPECT_EQ(violations(analyze(25000 + 60001), "duration.once"),
              (std::vector<std::string>{"#11 the session ended without a playback-duration report"}));
}

}  // namespace veyrakit
