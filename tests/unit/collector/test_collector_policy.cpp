#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>

#include "collector/QMCollectorOptions.h"
#include "collector/QMCollectorPolicy.h"
#include "collector/QMCollectorResponder.h"

namespace veyrakit {

using Json = nlohmann::ordered_json;

namespace {

QMCollectorOptions parse(std::vector<std::string> arguments) { return QMCollectorOptions::parse(arguments); }

std::string parseError(std::vector<std::string> arguments) {
    try {
        QMCollectorOptions::parse(arguments);
    } catch (const QMCollectorOptions::Error& error) {
        return error.what();
    }
    return "(no error)";
}

Json body(const QMCollectorResponder::Answer& answer) { return Json::parse(answer.body); }

}  // namespace

TEST(CollectorPolicy, DefaultsAndFileOverrideOnlyWhatTheyName) {
    QMCollectorPolicy defaults;
    EXPECT_EQ(
        defaults.toJSON().dump(),
        R"({"init":{"status":200,"refuse":false,"issueSessionId":true,"intervalSeconds":10000,"skipReports":0},)"
        R"("report":{"status":200,"skipReports":0},"onDemand":{"status":200},"sessionIdleMs":60000})");

    auto policy = QMCollectorPolicy::fromJSON(Json::parse(
        R"({"init":{"skipReports":["2",0],"offerViewerId":null,"sendLog":true,"logQueueSize":3},
            "report":{"skipReports":[0,{"absent":true},-2]},"sessionIdleMs":5000})"));
    EXPECT_EQ(policy.valueAt("init.skipReports", 0), Json("2"));
    EXPECT_EQ(policy.valueAt("init.skipReports", 1), Json(0));
    EXPECT_EQ(policy.valueAt("init.skipReports", 7), Json(0));  // the last value repeats
    EXPECT_EQ(policy.valueAt("init.offerViewerId", 0), Json(nullptr));
    EXPECT_EQ(policy.valueAt("init.intervalSeconds", 3), Json(10000));
    EXPECT_EQ(policy.valueAt("report.skipReports", 1), std::nullopt);
    EXPECT_EQ(policy.valueAt("report.skipReports", 2), Json(-2));
    EXPECT_EQ(policy.sessionIdleMillis(), 5000);
}

TEST(CollectorPolicy, RejectsWrongTypesAndUnknownNames) {
    auto error = [](const char* text) {
        try {
            QMCollectorPolicy::fromJSON(Json::parse(text));
        } catch (const QMCollectorPolicy::Error& e) {
            return std::string(e.what());
        }
        return std::string("(no error)");
    };
    EXPECT_EQ(
        error(R"({"init":{"skipReports":"two"}})"),
        R"('init.skipReports' must be an integer or a string holding an integer (or a list of them), got "two")");
    EXPECT_EQ(error(R"({"init":{"intervalSeconds":[1000,"x"]}})"),
              R"('init.intervalSeconds' must be an integer (milliseconds) (or a list of them), got "x")");
    EXPECT_EQ(error(R"({"report":{"status":42}})"),
              "'report.status' must be an HTTP status code (100 to 599) (or a list of them), got 42");
    EXPECT_EQ(error(R"({"init":{"interval":1}})"), "unknown policy field 'init.interval'");
    EXPECT_EQ(error(R"({"answers":{}})"), "unknown policy section 'answers'");
    EXPECT_EQ(error(R"({"init":{"skipReports":[]}})"), "'init.skipReports' needs at least one value");
}

TEST(CollectorOptions, CommandLineOverridesThePolicyFileWhateverTheOrder) {
    std::string path = ::testing::TempDir() + "collector-policy.json";
    std::ofstream(path) << R"({"init":{"intervalSeconds":5000,"sendLog":true},"report":{"skipReports":"1"}})";
    auto options = parse({"--interval-ms", "2000", "--policy", path, "--port=0", "--diag-ports", "0,9",
                          "--db", ":memory:", "--offer-viewer-id", "VIEWER-7", "--report-skip-reports",
                          "absent", "--init-skip-reports", R"(["3","-1"])", "--quiet"});
    std::remove(path.c_str());
    EXPECT_EQ(options.server.port, 0);
    EXPECT_EQ(options.server.diagnosticEventsPort, 0);
    EXPECT_EQ(options.server.sessionEventsPort, 9);
    EXPECT_EQ(options.server.databasePath, ":memory:");
    EXPECT_TRUE(options.quiet);
    const auto& policy = options.server.policy;
    EXPECT_EQ(policy.valueAt("init.intervalSeconds", 0), Json(2000));
    EXPECT_EQ(policy.valueAt("init.sendLog", 0), Json(true));
    EXPECT_EQ(policy.valueAt("init.offerViewerId", 0), Json("VIEWER-7"));  // not JSON: taken as text
    EXPECT_EQ(policy.valueAt("report.skipReports", 0), std::nullopt);
    EXPECT_EQ(policy.valueAt("init.skipReports", 1), Json("-1"));
}

TEST(CollectorOptions, BadOptionsSayWhatIsWrong) {
    EXPECT_EQ(parseError({"--port", "70000"}), "--port: '70000' is not a port number (0 to 65535)");
    EXPECT_EQ(parseError({"--port", "80x"}), "--port: '80x' is not a number");
    EXPECT_EQ(parseError({"--diag-ports", "8081"}), "--diag-ports: expected two ports as EVENTS,SESSIONS");
    EXPECT_EQ(parseError({"--db"}), "option '--db' needs a value");
    EXPECT_EQ(parseError({"--verbose"}), "unknown option '--verbose'");
    EXPECT_EQ(parseError({"stray"}), "unexpected argument 'stray'");
    EXPECT_EQ(parseError({"--send-log", "yes"}),
              "--send-log: 'init.sendLog' must be a boolean (or a list of them), got \"yes\"");
    EXPECT_EQ(parseError({"--policy", "/nonexistent/policy.json"}),
              "--policy: cannot read policy file '/nonexistent/policy.json'");
    EXPECT_TRUE(parse({"-h"}).help);
}

TEST(CollectorResponder, SessionStartThrottleAsStringOrNumberThenSession) {
    auto policy = QMCollectorPolicy::fromJSON(
        Json::parse(R"({"init":{"skipReports":["2",3,"0",-1,0],"logQueueSize":5,"sendLog":false}})"));
    QMCollectorResponder responder(policy);
    auto throttledText = responder.answerInit();
    EXPECT_EQ(throttledText.body,
              R"({"logQueueSize":5,"sendLog":false,"intervalSeconds":10000,"skipReports":"2"})");
    EXPECT_EQ(throttledText.issuedSessionId, std::nullopt);
    auto throttledNumber = responder.answerInit();
    EXPECT_EQ(body(throttledNumber)["skipReports"], 3);
    EXPECT_EQ(throttledNumber.issuedSessionId, std::nullopt);
    auto opened = responder.answerInit();
    ASSERT_TRUE(opened.issuedSessionId.has_value());
    EXPECT_EQ(body(opened)["sessionId"], *opened.issuedSessionId);
    EXPECT_EQ(body(opened)["skipReports"], "0");
    EXPECT_EQ(opened.issuedSessionId->size(), 36u);
    EXPECT_EQ(opened.issuedSessionId->at(14), '4');
    EXPECT_EQ(responder.answerInit().issuedSessionId, std::nullopt);  // -1 ends it
    auto next = responder.answerInit();
    ASSERT_TRUE(next.issuedSessionId.has_value());
    EXPECT_NE(*next.issuedSessionId, *opened.issuedSessionId);
}

TEST(CollectorResponder, RefusalStatusAndMissingSessionId) {
    auto policy = QMCollectorPolicy::fromJSON(
        Json::parse(R"({"init":{"refuse":[true,false,false],"status":[200,200,500,200],
                               "issueSessionId":[true,true,true,false],"offerViewerId":"null"}})"));
    QMCollectorResponder responder(policy);
    EXPECT_EQ(responder.answerInit().body, R"({"skipReports":"-1"})");
    EXPECT_TRUE(responder.answerInit().issuedSessionId.has_value());
    auto failed = responder.answerInit();
    EXPECT_EQ(failed.status, 500);
    EXPECT_EQ(failed.body, R"({"intervalSeconds":10000,"skipReports":0,"offerViewerId":"null"})");
    EXPECT_EQ(responder.answerInit().body,
              R"({"intervalSeconds":10000,"skipReports":0,"offerViewerId":"null"})");
}

TEST(CollectorResponder, ReportSequencesAdvancePerSessionAndOnlyOnPeriodicalReports) {
    auto policy = QMCollectorPolicy::fromJSON(Json::parse(
        R"({"report":{"skipReports":[0,"2",-1],"status":[200,500]},"onDemand":{"status":[404,200]}})"));
    QMCollectorResponder responder(policy);
    std::optional<std::string> a = "A", b = "B";
    EXPECT_EQ(responder.answerReport(a, "P").body, R"({"skipReports":0})");
    auto joinTime = responder.answerReport(a, "J");
    EXPECT_EQ(joinTime.status, 404);
    EXPECT_EQ(joinTime.body, "{}");
    auto second = responder.answerReport(a, "P");
    EXPECT_EQ(second.status, 500);
    EXPECT_EQ(second.body, R"({"skipReports":"2"})");
    EXPECT_EQ(responder.answerReport(b, "P").body, R"({"skipReports":0})");
    EXPECT_EQ(responder.answerReport(a, "P").body, R"({"skipReports":-1})");
    EXPECT_EQ(responder.answerReport(a, "P").body, R"({"skipReports":-1})");
    EXPECT_EQ(responder.answerReport(a, "L").status, 200);
}

}  // namespace veyrakit
