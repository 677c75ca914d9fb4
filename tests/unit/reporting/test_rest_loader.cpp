#include "platform/QMException.h"
#include "reporting/QMRestLoader.h"
#include "unit/reporting/QMReportingFixture.h"

namespace veyrakit {

namespace {

class QMRestLoaderTest : public QMReportingTest {
  protected:
    // Outcomes in arrival order: "failed <code>" or "complete <answer or nothing>".
    void load(const std::optional<QMJSON>& data, const std::string& contentType = "application/json") {
        QMRestLoader::initWithContentType(contentType, QMURL::URLWithString("http://collector.test/api"),
                                          "POST")
            ->loadWithData(
                data,
                [this](const auto& answer) {
                    outcomes.push_back("complete " + (answer ? answer->dump() : "-"));
                },
                [this](int32_t code) { outcomes.push_back("failed " + std::to_string(code)); });
        runFor(0);
    }
    std::vector<std::string> outcomes;
};

TEST_F(QMRestLoaderTest, ErrorStatusFailsWithTheCodeThenCompletesWithTheBody) {
    stubs().addStub(QMURLStubRegistry::urlEndsWith("/api"), QMStubResponse::json(R"({"error":"boom"})", 500));
    load(QMJSON{{"type", "J"}, {"joinTime", 1200}});

    const auto sent = stubs().requestsTo("/api");
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(sent[0].body, std::optional<std::string>(R"({"type":"J","joinTime":1200})"));
    EXPECT_EQ(sent[0].header("Content-Type"), std::optional<std::string>("application/json"));
    EXPECT_EQ(sent[0].header("Content-Length"), std::optional<std::string>("28"));
    EXPECT_EQ(outcomes, (std::vector<std::string>{"failed 500", R"(complete {"error":"boom"})"}));
    EXPECT_EQ(console.lines(),
              std::vector<std::string>{line("I", "X", "Reporter received non-200 response code:500")});
}

TEST_F(QMRestLoaderTest, OtherContentTypeSendsNoBodyAndNothingSendsNothing) {
    stubs().addStub(QMURLStubRegistry::urlEndsWith("/api"), QMStubResponse::json("", 204));
    load(QMJSON{{"a", 1}}, "text/plain");
    load(std::nullopt);

    const auto sent = stubs().requestsTo("/api");
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(sent[0].body, std::nullopt);
    EXPECT_EQ(sent[0].header("Content-Length"), std::optional<std::string>("0"));
    EXPECT_EQ(outcomes, std::vector<std::string>{"complete -"});
    EXPECT_EQ(console.lines(), std::vector<std::string>{line("I", "X", "agent want send null data!!!!")});
}

TEST_F(QMRestLoaderTest, FourNetworkFailuresRetryThreeTimesAtOnceThenFailWithZero) {
    stubs().addStub(QMURLStubRegistry::urlEndsWith("/api"), QMStubResponse::fail());
    load(QMJSON{{"a", 1}});

    const auto sent = stubs().requestsTo("/api");
    ASSERT_EQ(sent.size(), 4u);
    for (const auto& request : sent) {
        EXPECT_EQ(request.body, std::optional<std::string>(R"({"a":1})"));
        EXPECT_EQ(request.timeMillis, startMillis);
    }
    EXPECT_EQ(linesStartingWith("I IR\t"),
              (std::vector<std::string>{line("I", "IR", "Reporter retry :  0"),
                                        line("I", "IR", "Reporter retry :  1"),
                                        line("I", "IR", "Reporter retry :  2")}));
    EXPECT_EQ(
        linesStartingWith("I X\t{Reporter failed with error:Error Domain=NSURLErrorDomain Code=-1004").size(),
        4u);
    EXPECT_EQ(outcomes, std::vector<std::string>{"failed 0"});
}

TEST_F(QMRestLoaderTest, ExceptionInCompletionIsWrittenToTheConsoleOnly) {
    stubs().addStub(QMURLStubRegistry::urlEndsWith("/api"), QMStubResponse::json(R"({"a":1})"));
    QMRestLoader::initWithContentType("application/json", QMURL::URLWithString("http://collector.test/api"),
                                      "POST")
        ->loadWithData(
            QMJSON::object(), [](const auto&) { throw QMIllegalStateException("bad answer"); }, nullptr);
    runFor(0);

    EXPECT_EQ(console.lines(),
              (std::vector<std::string>{"Exception: bad answer",
                                        "connection finish load error, response: {\n    a = 1;\n}"}));
}

}  // namespace

}  // namespace veyrakit
