#include <gtest/gtest.h>

#include "collector/QMDiagnosticAttribution.h"
#include "collector/QMDiagnosticSchema.h"
#include "collector/QMDiagnosticSummary.h"
#include "collector/QMJSONLayout.h"
#include "collector/QMSessionAnalyzer.h"

namespace veyrakit {

// The two diagnostic streams as the collector judges them: hand-made posts of the AVPlayer
// reporter (pretty JSON on the session events endpoint) and of the movie player handler (compact
// JSON on the diagnostic events endpoint).

using Json = nlohmann::ordered_json;

namespace {

const std::string kSession = "5E55-10N";
const std::string kTemporary = "0C1D2E3F-4A5B-4C6D-8E7F-A0B1C2D3E4F5";
const int64_t kStart = 1'700'000'000'000;

Json event(int64_t index, int64_t at, const std::string& name, Json info = nullptr) {
    Json record{{"index", index}, {"timestamp", kStart + at}, {"name", name}};
    if (!info.is_null()) record["info"] = std::move(info);
    return record;
}

Json avplayerPost(Json events) {
    return {{"session",
             {{"assetId", "A-1"},
              {"qmrCID", "C-1"},
              {"assetMetadata", {{{"key", "genre"}, {"values", {"drama"}}}}},
              {"temporarySessionId", kTemporary},
              {"playbackURL", "http://127.0.0.1:9/vod/master.m3u8"},
              {"sessionId", kSession}}},
            {"events", std::move(events)}};
}

Json moviePost(Json events) {
    return {{"session",
             {{"assetId", "A-1"},
              {"qmrCID", "C-1"},
              {"assetMetadata", {{"genre", {"drama"}}}},
              {"viewerMetadata", Json::object()}}},
            {"events", std::move(events)}};
}

Json movieEvent(int64_t index, int64_t at, const std::string& text) {
    return {{"timestamp", kStart + at}, {"name", text}, {"index", index}};
}

class DiagnosticStreams : public ::testing::Test {
  protected:
    void post(QMCollectorEndpoint endpoint, const Json& body, bool pretty) {
        QMCollectorRequest request;
        request.id = nextId++;
        request.receivedMillis = kStart + request.id * 1000;
        request.endpoint = endpoint;
        request.method = "POST";
        request.headers = {{"Content-Type", "application/json"}};
        request.body = pretty ? QMJSONLayout::pretty(body.dump()) : body.dump();
        request.sessionId = kSession;
        requests.push_back(request);
    }
    void avplayer(Json events, bool pretty = true) {
        post(QMCollectorEndpoint::SessionEvents, avplayerPost(std::move(events)), pretty);
    }
    void movie(Json events, bool pretty = false) {
        post(QMCollectorEndpoint::DiagnosticEvents, moviePost(std::move(events)), pretty);
    }

    QMSessionAnalysis analyze() const {
        return QMSessionAnalyzer(60000).analyze(kSession, true, requests, kStart + 60000, true);
    }
    // "#<post id> <message>" of every violation of one check.
    static std::vector<std::string> violations(const QMSessionAnalysis& analysis, const std::string& name) {
        std::vector<std::string> lines;
        for (const auto& violation : analysis.check(name)->violations())
            lines.push_back("#" + std::to_string(violation.requestId) + " " + violation.message);
        return lines;
    }
    static std::string status(const QMSessionAnalysis& analysis, const std::string& name) {
        return QMProtocolCheck::statusName(analysis.check(name)->status());
    }

    std::vector<QMCollectorRequest> requests;
    int64_t nextId = 1;
};

}  // namespace

TEST(JSONLayout, PrettyAndCompactFormsKeepTheSentTokens) {
    const std::string compact = R"({"a":[1,2.50,{"b":"x : y, {z}"}],"e":[],"o":{},"n":null})";
    EXPECT_EQ(QMJSONLayout::pretty(compact),
              "{\n  \"a\" : [\n    1,\n    2.50,\n    {\n      \"b\" : \"x : y, {z}\"\n    }\n  ],\n"
              "  \"e\" : [],\n  \"o\" : {},\n  \"n\" : null\n}");
    EXPECT_EQ(QMJSONLayout::compact(QMJSONLayout::pretty(compact)), compact);
    EXPECT_EQ(QMJSONLayout::compact("{ \"q\\\"\" :\t1 }"), "{\"q\\\"\":1}");
}

TEST_F(DiagnosticStreams, AGoodAVPlayerStreamPassesAndShowsItsFigures) {
    avplayer({event(1, 0, "init"), event(2, 0, "playbackBufferEmpty"),
              event(3, 10, "availableBitrates", {{"bitrates", {400000, 320000, 800000.5}}}),
              event(4, 10, "availableResolutions", {{"resolutions", {{{"width", 640}, {"height", 360}}}}}),
              event(5, 900, "playerStatus", {{"status", "failed"}, {"reason", "gone"}})});
    avplayer({event(6, 1000, "indicatedBitrate", {{"bitrate", 400000}}),
              event(7, 1000, "numberOfStalls", {{"stalls", 0}}),
              event(8, 1000, "transferDuration", {{"duration", nullptr}}),
              event(9, 2000, "indicatedBitrate", {{"bitrate", 800000}}),
              event(10, 2000, "playbackPosition", {{"position", 1.5}})});
    auto analysis = analyze();
    for (const char* name : {"sessionEvents.wellFormed", "sessionEvents.sequence", "sessionEvents.names"})
        EXPECT_EQ(status(analysis, name), "passed") << analysis.check(name)->toJSON().dump();
    for (const char* name :
         {"diagnosticEvents.wellFormed", "diagnosticEvents.sequence", "diagnosticEvents.texts"})
        EXPECT_EQ(status(analysis, name), "notApplicable");
    const Json& s = analysis.summary;
    EXPECT_EQ(s["diagnosticPosts"], 2);
    EXPECT_EQ(s["diagnosticEvents"], 10);
    EXPECT_EQ(s["offeredBitrates"].dump(), "[400000,320000,800000.5]");
    EXPECT_EQ(s["offeredResolutions"].dump(), R"([{"width":640,"height":360}])");
    EXPECT_EQ(s["lastAccessLog"].dump(),
              R"({"indicatedBitrate":800000,"observedBitrate":null,"bytesTransferred":null,"stalls":0,)"
              R"("droppedVideoFrames":null,"durationWatched":null})");
    EXPECT_EQ(s["diagnosticEventsByName"]["indicatedBitrate"], 2);
    EXPECT_EQ(s["diagnosticEventsByName"].size(), 9u);
}

TEST_F(DiagnosticStreams, AVPlayerStreamFaultsNameThePostThatBrokeTheRule) {
    avplayer({event(1, 0, "init"), event(2, 500, "rate", {{"rate", 1}})});
    avplayer({event(2, 600, "timeJumped"), event(4, 700, "playbackStalled")});  // 2 again, 3 missing
    avplayer({event(5, 650, "stopPlayback"), event(6, 800, "seeked")}, false);  // back in time, unknown name
    avplayer({event(7, 900, "duration", {{"duration", 1}, {"unit", "s"}}),
              event(8, 900, "status", {{"status", "readyToPlay"}, {"reason", "x"}}),
              event(9, 900, "didPlayToEndTime", {{"x", 1}})});
    auto analysis = analyze();
    EXPECT_EQ(
        violations(analysis, "sessionEvents.sequence"),
        (std::vector<std::string>{
            "#2 temporary session \"" + kTemporary + "\": index 2 used again (first in post #1)",
            "#2 temporary session \"" + kTemporary + "\": index 4 follows 2, the indexes between are missing",
            "#3 temporary session \"" + kTemporary + "\": event 5 at " + std::to_string(kStart + 650) +
                " is earlier than event 4 at " + std::to_string(kStart + 700)}));
    EXPECT_EQ(
        violations(analysis, "sessionEvents.names"),
        (std::vector<std::string>{"#3 event 6 \"seeked\" is no event the reporter records",
                                  "#4 event 7 \"duration\" has the unknown info key \"unit\"",
                                  "#4 event 8 \"status\" gives a \"reason\" for the status \"readyToPlay\", "
                                  "which is no failure",
                                  "#4 event 9 \"didPlayToEndTime\" carries \"info\", which it has none of"}));
    EXPECT_EQ(violations(analysis, "sessionEvents.wellFormed"),
              (std::vector<std::string>{
                  "#3 the body is not pretty-printed (two-space indentation, \" : \" after each key)"}));
}

TEST_F(DiagnosticStreams, AVPlayerSessionDescriptionAndFirstEventAreHeldToTheReporter) {
    Json body = avplayerPost({event(1, 0, "rate", {{"rate", 0}})});
    body["session"]["temporarySessionId"] = "0c1d2e3f-4a5b-4c6d-8e7f-a0b1c2d3e4f5";
    body["session"]["pluginName"] = "iOS-AVPlayer";
    body["session"]["assetMetadata"] = {{"genre", {"drama"}}};
    post(QMCollectorEndpoint::SessionEvents, body, true);
    auto analysis = analyze();
    EXPECT_EQ(
        violations(analysis, "sessionEvents.wellFormed"),
        (std::vector<std::string>{
            R"(#1 the session's "assetMetadata" is {"genre":["drama"]}, expected an array of {"key", "values"} items)",
            R"(#1 the session description carries the unknown key "pluginName")",
            R"(#1 "temporarySessionId" "0c1d2e3f-4a5b-4c6d-8e7f-a0b1c2d3e4f5" is not an upper-case UUID)"}));
    EXPECT_EQ(
        violations(analysis, "sessionEvents.sequence"),
        (std::vector<std::string>{"#1 temporary session \"0c1d2e3f-4a5b-4c6d-8e7f-a0b1c2d3e4f5\": the event "
                                  "with index 1 is \"rate\", not \"init\""}));
}

// The reporter leaves an info key out when its value is nil (a server error with no comment, an
// end of play with no error); a misspelt or unknown key is still an error, as is a missing one
// that is never nil.
TEST_F(DiagnosticStreams, AnInfoKeyMayBeMissingOnlyWhereItsValueMayBeNil) {
    avplayer({event(1, 0, "init"), event(2, 5, "errorStatusCode", {{"statusCode", 500}}),
              event(3, 5, "errorDomain", Json::object()), event(4, 5, "errorComment", Json::object()),
              event(5, 5, "playbackType", Json::object()),
              event(6, 9, "failedToPlayToEndTime", Json::object()),
              event(7, 9, "status", {{"status", "failed"}})});
    auto good = analyze();
    EXPECT_EQ(status(good, "sessionEvents.names"), "passed")
        << good.check("sessionEvents.names")->toJSON().dump();

    avplayer({event(8, 10, "errorComment", {{"coment", "x"}}), event(9, 10, "errorDomain", {{"domain", 1}}),
              event(10, 10, "failedToPlayToEndTime"), event(11, 10, "rate", Json::object())});
    EXPECT_EQ(violations(analyze(), "sessionEvents.names"),
              (std::vector<std::string>{"#2 event 8 \"errorComment\" has the unknown info key \"coment\"",
                                        "#2 event 9 \"errorDomain\" info \"domain\" is 1, expected a string",
                                        "#2 event 10 \"failedToPlayToEndTime\" has no \"info\" object",
                                        "#2 event 11 \"rate\" has no info \"rate\""}));
}

// Events are stamped in milliseconds since 1970 (seconds or microseconds are a unit slip), and
// the movie player handler always describes both metadata lists, empty or not.
TEST_F(DiagnosticStreams, TimestampsAreMillisecondsAndMoviePlayerMetadataIsAlwaysDescribed) {
    avplayer({event(1, 0, "init"), event(2, 0, "timeJumped")});
    requests.back().body = QMJSONLayout::pretty(
        avplayerPost({event(1, 0, "init"),
                      {{"index", 2}, {"timestamp", kStart / 1000}, {"name", "timeJumped"}},
                      {{"index", 3}, {"timestamp", kStart * 1000}, {"name", "timeJumped"}}})
            .dump());
    Json body = moviePost({movieEvent(1, 0, "play")});
    body["session"].erase("assetMetadata");
    body["session"].erase("viewerMetadata");
    post(QMCollectorEndpoint::DiagnosticEvents, body, false);
    auto analysis = analyze();
    EXPECT_EQ(
        violations(analysis, "sessionEvents.wellFormed"),
        (std::vector<std::string>{
            "#1 event 2 \"timeJumped\" has the timestamp 1700000000, not milliseconds since 1970",
            "#1 event 3 \"timeJumped\" has the timestamp 1700000000000000, not milliseconds since 1970"}));
    EXPECT_EQ(violations(analysis, "diagnosticEvents.wellFormed"),
              (std::vector<std::string>{"#2 the session description has no \"assetMetadata\"",
                                        "#2 the session description has no \"viewerMetadata\""}));
}

TEST_F(DiagnosticStreams, MoviePlayerStreamTextsIndexesAndLayout) {
    movie({movieEvent(1, 0, "play"), movieEvent(2, 10, "Duration changed: 120.00\n"),
           movieEvent(3, 10, "Indicated bitrate: 1500000.00\n"), movieEvent(4, 10, "URI: (null)\n")});
    movie({movieEvent(5, 900, "Playback state channged to Playing\n"),
           movieEvent(6, 900, "Bytes transfered: 4096\n")});
    auto good = analyze();
    for (const char* name :
         {"diagnosticEvents.wellFormed", "diagnosticEvents.sequence", "diagnosticEvents.texts"})
        EXPECT_EQ(status(good, name), "passed") << good.check(name)->toJSON().dump();
    EXPECT_EQ(status(good, "sessionEvents.names"), "notApplicable");
    EXPECT_EQ(good.summary["lastAccessLog"]["indicatedBitrate"], 1500000);
    EXPECT_EQ(good.summary["lastAccessLog"]["bytesTransferred"], 4096);
    EXPECT_EQ(good.summary["diagnosticEventsByName"]["Duration changed: %.2f"], 1);
    EXPECT_EQ(good.summary["offeredBitrates"], nullptr);

    movie({movieEvent(1, 2000, "buffer"),
           movieEvent(3, 2000, "Playback state changed to Playing\n")});  // new attachment
    movie({movieEvent(4, 1500, "Duration changed: 1.5\n")}, true);
    auto bad = analyze();
    EXPECT_EQ(violations(bad, "diagnosticEvents.sequence"),
              (std::vector<std::string>{"#3 index 3 follows 1 (post #3)",
                                        "#4 event 4 at " + std::to_string(kStart + 1500) +
                                            " is earlier than event 3 at " + std::to_string(kStart + 2000)}));
    EXPECT_EQ(violations(bad, "diagnosticEvents.texts"),
              (std::vector<std::string>{
                  "#3 event 3 has the text \"Playback state changed to Playing\\n\", which the handler never "
                  "records",
                  "#4 event 4 has the text \"Duration changed: 1.5\\n\", which the handler never records"}));
    EXPECT_EQ(violations(bad, "diagnosticEvents.wellFormed"),
              (std::vector<std::string>{"#4 the body is not compact JSON (white space outside strings)"}));
}

// A text is read by its form in one pass: std::regex's matcher recursed per character, and an
// event text of 100 KB overflowed the stack of whoever analysed the session.
TEST(DiagnosticSchema, TextsAreRecognizedByTheirFormWhateverTheirLength) {
    auto uri = QMDiagnosticSchema::recognizeText("URI: " + std::string(1'000'000, 'u') + "\n");
    ASSERT_TRUE(uri.has_value());
    EXPECT_EQ(uri->format, "URI: %@\n");
    EXPECT_EQ(uri->value, std::string(1'000'000, 'u'));
    EXPECT_EQ(QMDiagnosticSchema::recognizeText("Natural size changed: 1.00x-inf\n")->value, "1.00");
    EXPECT_EQ(QMDiagnosticSchema::recognizeText("Error status code: -404\n")->value, "-404");
    EXPECT_EQ(QMDiagnosticSchema::recognizeText("Error comment: two\nlines\n")->value, "two\nlines");
    for (const char* text : {"Duration changed: 12.345\n", "Duration changed: .50\n", "Dropped frames: 3",
                             "Dropped frames: 3\n\n", "Natural size changed: 1.00x\n", "URI: x", "URI: x\n ",
                             "Server address: 10.0.0.1\r", "Error domain: x\n\r"})
        EXPECT_FALSE(QMDiagnosticSchema::recognizeText(text).has_value()) << text;
}

TEST(DiagnosticAttribution, AMoviePlayerPostBelongsToTheNewestSessionOfItsAssetAndCustomer) {
    QMCollectorStore store(":memory:");
    auto open = [&](const char* assetId, const char* qmrCID, const char* sessionId) {
        QMCollectorRequest init;
        init.endpoint = QMCollectorEndpoint::Init;
        init.body = Json{{"assetId", assetId}, {"qmrCID", qmrCID}}.dump();
        store.record(init, std::string(sessionId));
    };
    auto sessionOf = [&](QMCollectorEndpoint endpoint, const Json& session) {
        QMCollectorRequest post;
        post.endpoint = endpoint;
        post.body = Json{{"session", session}, {"events", Json::array()}}.dump();
        return QMDiagnosticAttribution::sessionOf(post, store);
    };
    open("A-1", "C-1", "S-OLD");
    open("A-1", "C-1", "S-NEW");
    open("A-1", "C-2", "S-OTHER-CUSTOMER");
    open("A-2", "C-1", "S-OTHER-ASSET");
    const Json movie{{"assetId", "A-1"}, {"qmrCID", "C-1"}};
    EXPECT_EQ(sessionOf(QMCollectorEndpoint::DiagnosticEvents, movie), "S-NEW");
    EXPECT_EQ(sessionOf(QMCollectorEndpoint::DiagnosticEvents, {{"assetId", "A-3"}, {"qmrCID", "C-1"}}),
              std::nullopt);
    EXPECT_EQ(sessionOf(QMCollectorEndpoint::DiagnosticEvents, {{"sessionId", "S-OLD"}, {"assetId", "A-1"}}),
              "S-OLD");
    // The AVPlayer reporter posts only once it knows the session: no guessing for its stream.
    EXPECT_EQ(sessionOf(QMCollectorEndpoint::SessionEvents, movie), std::nullopt);
}

// The dashboard and the demo name each playback error by its code and text, which only the
// diagnostic streams carry.
TEST_F(DiagnosticStreams, PlaybackErrorsKeepTheirCodesAndTextsFromEitherPlayer) {
    avplayer({event(1, 0, "init"), event(2, 500, "errorDate", {{"timestamp", kStart + 500}}),
              event(3, 500, "errorStatusCode", {{"statusCode", 404}}),
              event(4, 500, "errorDomain", {{"domain", "CoreMediaErrorDomain"}}),
              event(5, 500, "errorComment", {{"comment", "Not Found"}}),
              event(6, 600, "errorStatusCode", {{"statusCode", -1004}}),
              event(7, 600, "errorDomain", {{"domain", "NSURLErrorDomain"}}),
              event(8, 700, "failedToPlayToEndTime", {{"description", "Could not connect to the server."}})});
    const Json errors = analyze().summary["playbackErrors"];
    EXPECT_EQ(errors.dump(), R"([{"code":404,"domain":"CoreMediaErrorDomain","text":"Not Found"},)"
                             R"({"code":-1004,"domain":"NSURLErrorDomain","text":null},)"
                             R"({"code":null,"domain":null,"text":"Could not connect to the server."}])");
    EXPECT_EQ(QMDiagnosticSummary::errorLine(errors[0]), "CoreMediaErrorDomain 404: Not Found");
    EXPECT_EQ(QMDiagnosticSummary::errorLine(errors[1]), "NSURLErrorDomain -1004");
    EXPECT_EQ(QMDiagnosticSummary::errorLine(errors[2]), "Could not connect to the server.");

    requests.clear();
    movie({movieEvent(1, 0, "play"), movieEvent(2, 10, "Error status code: 404\n"),
           movieEvent(3, 10, "Error domain: CoreMediaErrorDomain\n"),
           movieEvent(4, 10, "Error comment: Not Found\n")});
    EXPECT_EQ(analyze().summary["playbackErrors"].dump(),
              R"([{"code":404,"domain":"CoreMediaErrorDomain","text":"Not Found"}])");
}

}  // namespace veyrakit
