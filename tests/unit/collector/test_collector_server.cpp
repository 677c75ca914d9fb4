#include <curl/curl.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <mutex>

#include "collector/QMCollectorServer.h"

namespace veyrakit {

using Json = nlohmann::ordered_json;

namespace {

struct HttpAnswer {
    CURLcode code = CURLE_OK;
    long status = 0;
    std::string body;
};

size_t collect(char* data, size_t size, size_t count, void* target) {
    static_cast<std::string*>(target)->append(data, size * count);
    return size * count;
}

HttpAnswer http(const std::string& url, const std::optional<std::string>& postBody = std::nullopt,
                const std::string& userAgent = "") {
    HttpAnswer answer;
    CURL* curl = curl_easy_init();
    curl_slist* headers = curl_slist_append(nullptr, "Content-Type: application/json");
    curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers);
    curl_easy_setopt(curl, CURLOPT_USERAGENT, userAgent.c_str());
    if (postBody) curl_easy_setopt(curl, CURLOPT_POSTFIELDS, postBody->c_str());
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, collect);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &answer.body);
    answer.code = curl_easy_perform(curl);
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &answer.status);
    curl_slist_free_all(headers);
    curl_easy_cleanup(curl);
    return answer;
}

const char* const kInit =
    R"({"assetId":"A-1","qmrCID":"C-1","protocolVersion":"1.1","mediaUrl":"https://media.invalid/a.mp4",)"
    R"("streamType":"PDL","assetType":"VOD","uniqueViewerData":[{"key":"viewerIdInCookie","values":["false"]}]})";
const char* const kAgent = "iosApp/5.0 (iPhone; CPU iOS 17.0 like Mac OS X)";

QMCollectorServer::Options loopbackOptions(const char* policy) {
    QMCollectorServer::Options options;
    options.port = options.diagnosticEventsPort = options.sessionEventsPort = 0;
    options.databasePath = ":memory:";
    options.policy = QMCollectorPolicy::fromJSON(Json::parse(policy));
    return options;
}

// What follows the session clock in an observer line.
std::string afterClock(const std::string& line) { return line.substr(line.find(' ') + 1); }

}  // namespace

TEST(CollectorServer, ServesStoresAndJudgesOverRealSockets) {
    QMCollectorServer server(
        loopbackOptions(R"({"init":{"skipReports":["2",0]},"report":{"skipReports":[0,-1]}})"));
    std::mutex mutex;
    std::vector<std::string> lines;
    server.setObserver([&](const QMCollectorRequestEvent& event) {
        std::lock_guard lock(mutex);
        lines.push_back(event.describe());
    });
    server.start();
    ASSERT_GT(server.port(), 0);
    ASSERT_NE(server.port(), server.diagnosticEventsPort());
    ASSERT_NE(server.diagnosticEventsPort(), server.sessionEventsPort());

    auto throttled = http(server.baseURL() + "/player/init", kInit, kAgent);
    EXPECT_EQ(throttled.status, 200);
    EXPECT_EQ(throttled.body, R"({"intervalSeconds":10000,"skipReports":"2"})");
    auto opened = Json::parse(http(server.baseURL() + "/player/init", kInit, kAgent).body);
    std::string sessionId = opened.value("sessionId", "");
    ASSERT_EQ(sessionId.size(), 36u);

    auto report = [&](int number) {
        return http(server.baseURL() + "/player/report", Json{{"type", "P"},
                                                              {"sessionId", sessionId},
                                                              {"totalPlayingTime", "0"},
                                                              {"periodicalNumber", number},
                                                              {"pulseNumber", number}}
                                                             .dump());
    };
    EXPECT_EQ(report(1).body, R"({"skipReports":0})");
    EXPECT_EQ(report(2).body, R"({"skipReports":-1})");
    // The movie player handler names no session: the collector finds it by asset and customer.
    std::string diagnostic =
        Json{{"session",
              {{"assetId", "A-1"},
               {"qmrCID", "C-1"},
               {"assetMetadata", Json::object()},
               {"viewerMetadata", Json::object()}}},
             {"events", {{{"timestamp", 1'700'000'000'000}, {"name", "play"}, {"index", 1}}}}}
            .dump();
    EXPECT_EQ(http(server.diagnosticEventsURL(), diagnostic).body, "{}");
    EXPECT_EQ(http(server.sessionEventsURL() + "/extra", diagnostic).status, 404);

    auto detail = Json::parse(http(server.baseURL() + "/api/sessions/" + sessionId).body);
    EXPECT_EQ(detail["state"], "endedByServer");
    EXPECT_EQ(detail["checks"][7]["violations"].dump(),  // ended by the collector, never told the duration
              R"([{"requestId":4,"message":"the session ended without a playback-duration report"}])");
    EXPECT_EQ(detail["violations"], 1);
    EXPECT_EQ(detail["summary"]["diagnosticEvents"], 1);
    ASSERT_EQ(detail["requests"].size(), 4u);
    EXPECT_EQ(detail["requests"][0]["body"], Json::parse(kInit));
    EXPECT_EQ(detail["requests"][0]["answer"]["body"]["sessionId"], sessionId);
    // A follower asks only for the requests after the last it has.
    const auto ids = [&](const std::string& query) {
        const auto answer = Json::parse(http(server.baseURL() + "/api/requests?" + query).body);
        std::vector<int64_t> found;
        for (const auto& request : answer["requests"]) {
            found.push_back(request["id"].get<int64_t>());
        }
        return found;
    };
    const auto all = ids("session=" + sessionId);
    ASSERT_EQ(all.size(), 4u);
    EXPECT_EQ(ids("session=" + sessionId + "&after=" + std::to_string(all[1])),
              (std::vector<int64_t>{all[2], all[3]}));
    EXPECT_EQ(ids("session=" + sessionId + "&after=" + std::to_string(all[3])), std::vector<int64_t>{});
    EXPECT_EQ(ids("session=" + sessionId + "&after=0"), all);
    auto list = Json::parse(http(server.baseURL() + "/api/sessions").body);
    EXPECT_EQ(list["sessions"].size(), 1u);
    EXPECT_EQ(list["requestsWithoutSession"], 2);
    EXPECT_EQ(http(server.baseURL() + "/api/sessions/NO-SUCH").status, 404);
    // The sessions page's figures, and the session page's data, with the breaking request.
    EXPECT_EQ(list["sessions"][0]["phase"], "destroyed");
    EXPECT_EQ(list["sessions"][0]["assetId"], "A-1");
    EXPECT_EQ(list["sessions"][0]["joinTimeMs"], nullptr);
    EXPECT_EQ(list["sessions"][0]["checksFailed"], 1);
    auto timeline = Json::parse(http(server.baseURL() + "/api/sessions/" + sessionId + "/timeline").body);
    EXPECT_EQ(timeline["timeline"].size(), 4u);
    Json breaking;
    for (const auto& row : timeline["timeline"]) {
        if (row["id"] == 4) breaking = row;
    }
    EXPECT_EQ(timeline["checks"][7]["violations"][0]["request"].dump(),
              R"({"id":4,"offsetMs":)" + breaking["offsetMs"].dump() + R"(,"kind":"P","pulseNumber":2})");
    EXPECT_EQ(http(server.baseURL() + "/api/sessions/NO-SUCH/timeline").status, 404);
    // The dashboard: one page for every view, its files compiled in; looking stores nothing.
    auto page = http(server.baseURL() + "/");
    EXPECT_EQ(page.status, 200);
    EXPECT_NE(page.body.find(R"(<script src="/dashboard/dashboard.js"></script>)"), std::string::npos);
    EXPECT_EQ(http(server.baseURL() + "/sessions/" + sessionId).body, page.body);
    EXPECT_NE(http(server.baseURL() + "/dashboard/dashboard.js").body.find("/api/sessions"),
              std::string::npos);
    EXPECT_EQ(http(server.baseURL() + "/dashboard/dashboard.css").status, 200);
    EXPECT_EQ(http(server.baseURL() + "/dashboard/missing.js").status, 404);

    const auto stored = server.store().requests();
    ASSERT_EQ(stored.size(), 6u);
    EXPECT_EQ(stored[0].header("user-agent"), kAgent);
    EXPECT_EQ(stored[0].header("Content-Length"), std::to_string(std::string(kInit).size()));
    EXPECT_EQ(stored[5].endpoint, QMCollectorEndpoint::Other);
    EXPECT_EQ(stored[5].path, "/sessionEventsHandler/sessions/extra");

    std::lock_guard lock(mutex);
    ASSERT_EQ(lines.size(), 6u);
    EXPECT_EQ(lines[0],
              "- init assetId=A-1 streamType=PDL -> 200 {\"intervalSeconds\":10000,\"skipReports\":\"2\"}");
    EXPECT_EQ(lines[1].substr(0, 2), "+0");
    EXPECT_EQ(afterClock(lines[3]), "P #2 pulse 2 totalPlayingTime=0 -> 200 {\"skipReports\":-1}");
    EXPECT_EQ(afterClock(lines[4]), "diag /veyrakit/ 1 events -> 200");
    EXPECT_EQ(lines[5],
              "- POST /sessionEventsHandler/sessions/extra -> 404 {\"error\":\"no such endpoint\"}");

    std::string base = server.baseURL();
    server.stop();
    EXPECT_EQ(http(base + "/api/sessions").code, CURLE_COULDNT_CONNECT);
}

TEST(CollectorServer, BusyPortIsAClearErrorAndTheFileDatabaseOutlivesTheServer) {
    std::string path = ::testing::TempDir() + "collector-test.db";
    std::remove(path.c_str());
    std::string sessionId;
    {
        auto options = loopbackOptions("{}");
        options.databasePath = path;
        QMCollectorServer server(options);
        server.start();
        auto busy = loopbackOptions("{}");
        busy.sessionEventsPort = server.port();
        QMCollectorServer second(busy);
        EXPECT_THROW(
            {
                try {
                    second.start();
                } catch (const std::runtime_error& error) {
                    EXPECT_EQ(std::string(error.what()),
                              "cannot listen on 127.0.0.1:" + std::to_string(server.port()));
                    throw;
                }
            },
            std::runtime_error);
        EXPECT_FALSE(second.isRunning());
        sessionId = Json::parse(http(server.baseURL() + "/player/init", kInit, kAgent).body)["sessionId"];
    }
    QMCollectorStore reopened(path);
    ASSERT_TRUE(reopened.session(sessionId).has_value());
    auto requests = reopened.requestsOfSession(sessionId);
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0].body, kInit);
    EXPECT_EQ(reopened.session(sessionId)->initRequestId, requests[0].id);
    std::remove(path.c_str());
}

TEST(CollectorRequestEvent, OneLinePerRequestWithTheKeyValues) {
    QMCollectorRequest request;
    request.endpoint = QMCollectorEndpoint::Report;
    request.receivedMillis = 1'700'000'012'345;
    request.answerStatus = 200;
    request.answerBody = "{}";
    request.body = R"({"sessionId":"S","type":"J","joinTime":1200,"pulseNumber":3})";
    EXPECT_EQ(QMCollectorRequestEvent::from(request, 1'700'000'000'000).describe(),
              "+12.345s J pulse 3 joinTime=1200 -> 200");
    request.body = R"({"sessionId":"S","type":"L","logArray":[{},{}],"cid":["C"]})";
    EXPECT_EQ(QMCollectorRequestEvent::from(request, 1'700'000'012'000).describe(),
              "+0.345s L 2 log lines -> 200");
    request.body =
        R"({"type":"P","sessionId":"S","totalBufferingTime":"0","playing":1,"periodicalNumber":4,"pulseNumber":6})";
    request.answerBody = R"({"skipReports":"2"})";
    auto event = QMCollectorRequestEvent::from(request, std::nullopt);
    EXPECT_EQ(event.describe(),
              R"(- P #4 pulse 6 totalBufferingTime=0 playing=1 -> 200 {"skipReports":"2"})");
    EXPECT_EQ(event.values.dump(), R"({"totalBufferingTime":"0","playing":1})");
    // Client text reaches a terminal: its escape sequences (C0, DEL, C1, bytes that are not
    // UTF-8) are written out, the rest of the text stays as it is.
    request.endpoint = QMCollectorEndpoint::Other;
    request.method = "GET";
    request.path =
        "/\x1b]0;owned\x07\x7f\xc2\x9b"
        "2J\x9b\xc3\xa9";
    request.answerBody = "{}";
    EXPECT_EQ(QMCollectorRequestEvent::from(request, std::nullopt).describe(),
              "- GET /\\x1b]0;owned\\x07\\x7f\\u009b2J\\x9b\xc3\xa9 -> 200");
}

// Found by fuzzing the collector's request handling: a header or a body that is not UTF-8 made
// the store and the API answer throw; such bytes are now kept as U+FFFD.
TEST(CollectorServer, BytesThatAreNotUTF8AreStoredAndServedAsReplacementCharacters) {
    QMCollectorServer server(loopbackOptions("{}"));
    server.start();
    auto opened = Json::parse(http(server.baseURL() + "/player/init", kInit, kAgent).body);
    const std::string sessionId = opened.value("sessionId", "");
    const std::string report =
        R"({"type":"J","sessionId":")" + sessionId + R"(","joinTime":1,"pulseNumber":1})";
    EXPECT_EQ(http(server.baseURL() + "/player/report", report, "agent \xC8").status, 200);
    EXPECT_EQ(http(server.baseURL() + "/player/report", "\xC8 not JSON", kAgent).status, 200);

    const auto detail = http(server.baseURL() + "/api/sessions/" + sessionId);
    ASSERT_EQ(detail.status, 200);
    const auto requests = Json::parse(detail.body)["requests"];
    ASSERT_EQ(requests.size(), 2u);
    EXPECT_EQ(requests[1]["body"], Json::parse(report));
    EXPECT_NE(requests[1]["headers"].dump().find("agent \xEF\xBF\xBD"), std::string::npos);
    const auto stored = server.store().requests();
    ASSERT_EQ(stored.size(), 3u);
    EXPECT_EQ(stored[1].header("User-Agent"), "agent \xEF\xBF\xBD");
    EXPECT_EQ(stored[2].body, "\xC8 not JSON");
    server.stop();
}

}  // namespace veyrakit
