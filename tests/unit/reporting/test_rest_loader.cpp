#include <string>
#include <variant>
#include <vector>

#include "platform/QMException.h"
#include "reporting/QMRestLoader.h"
#include "unit/reporting/QMReportingFixture.h"

namespace {

// Callback outcomes in the order they arrived: an int for failed, a JSON (or nothing) for complete.
using Outcome = std::variant<int32_t, std::optional<QMJSON>>;

class QMRestLoaderTest : public QMReportingTest {
  protected:
    void load(const std::optional<QMJSON>& data, const std::string& contentType = "application/json",
              const std::string& method = "POST") {
        auto loader = QMRestLoader::initWithContentType(
            contentType, QMURL::URLWithString("http://collector.test/api"), method);
        loader->loadWithData(
            data, [this](const std::optional<QMJSON>& answer) { outcomes.emplace_back(answer); },
            [this](int32_t code) { outcomes.emplace_back(code); });
    }
    std::vector<QMRecordedRequest> sent() { return stubs().requestsTo("/api"); }

    std::vector<Outcome> outcomes;
};

TEST_F(QMRestLoaderTest, SendsCompactJsonWithTypeAndLength) {
    stubs().addStub(QMURLStubRegistry::urlEndsWith("/api"), QMStubResponse::json(R"({"ok":true})"));
    load(QMJSON{{"type", "J"}, {"joinTime", 1200}});
    runFor(0);

    const auto requests = sent();
    ASSERT_EQ(requests.size(), 1u);
    const auto& request = requests[0];
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.body, std::optional<std::string>(R"({"type":"J","joinTime":1200})"));
    EXPECT_EQ(request.header("Content-Type"), std::optional<std::string>("application/json"));
    EXPECT_EQ(request.header("Content-Length"), std::optional<std::string>("28"));
    ASSERT_EQ(outcomes.size(), 1u);
    EXPECT_EQ(std::get<std::optional<QMJSON>>(outcomes[0]), std::optional<QMJSON>(QMJSON{{"ok", true}}));
}

TEST_F(QMRestLoaderTest, OtherContentTypeSendsNoBodyAndEmptyAnswerCompletesWithNothing) {
    stubs().addStub(QMURLStubRegistry::urlEndsWith("/api"), QMStubResponse::json("", 204));
    load(QMJSON{{"a", 1}}, "text/plain", "GET");
    runFor(0);

    ASSERT_EQ(sent().size(), 1u);
    EXPECT_EQ(sent()[0].method, "GET");
    EXPECT_EQ(sent()[0].body, std::nullopt);
    EXPECT_EQ(sent()[0].header("Content-Length"), std::optional<std::string>("0"));
    EXPECT_EQ(sent()[0].header("Content-Type"), std::optional<std::string>("text/plain"));
    ASSERT_EQ(outcomes.size(), 1u);
    EXPECT_EQ(std::get<std::optional<QMJSON>>(outcomes[0]), std::nullopt);
    EXPECT_TRUE(linesStartingWith("I X\t").empty());
}

TEST_F(QMRestLoaderTest, NothingToSendOnlyLogs) {
    load(std::nullopt);
    runFor(0);

    EXPECT_TRUE(sent().empty());
    EXPECT_TRUE(outcomes.empty());
    EXPECT_EQ(console.lines(), std::vector<std::string>{line("I", "X", "agent want send null data!!!!")});
}

TEST_F(QMRestLoaderTest, ErrorStatusFailsWithTheCodeThenCompletesWithTheBody) {
    stubs().addStub(QMURLStubRegistry::urlEndsWith("/api"), QMStubResponse::json(R"({"error":"boom"})", 500));
    load(QMJSON{{"a", 1}});
    runFor(0);

    ASSERT_EQ(outcomes.size(), 2u);
    EXPECT_EQ(std::get<int32_t>(outcomes[0]), 500);
    EXPECT_EQ(std::get<std::optional<QMJSON>>(outcomes[1]), std::optional<QMJSON>(QMJSON{{"error", "boom"}}));
    EXPECT_EQ(linesStartingWith("I X\t"),
              std::vector<std::string>{line("I", "X", "Reporter received non-200 response code:500")});
}

TEST_F(QMRestLoaderTest, FourNetworkFailuresRetryThreeTimesAtOnceThenFailWithZero) {
    stubs().addStub(QMURLStubRegistry::urlEndsWith("/api"), QMStubResponse::fail());
    load(QMJSON{{"a", 1}});
    runFor(0);

    const auto requests = sent();
    ASSERT_EQ(requests.size(), 4u);
    for (const auto& request : requests) {
        EXPECT_EQ(request.body, std::optional<std::string>(R"({"a":1})"));
        EXPECT_EQ(request.header("Content-Length"), std::optional<std::string>("7"));
        EXPECT_EQ(request.timeMillis, startMillis);
    }
    EXPECT_EQ(linesStartingWith("I IR\t"),
              (std::vector<std::string>{line("I", "IR", "Reporter retry :  0"),
                                        line("I", "IR", "Reporter retry :  1"),
                                        line("I", "IR", "Reporter retry :  2")}));
    EXPECT_EQ(
        linesStartingWith("I X\t{Reporter failed with error:Error Domain=NSURLErrorDomain Code=-1004").size(),
        4u);
    ASSERT_EQ(outcomes.size(), 1u);
    EXPECT_EQ(std::get<int32_t>(outcomes[0]), 0);
}

TEST_F(QMRestLoaderTest, ExceptionInCompletionIsWrittenToTheConsoleOnly) {
    stubs().addStub(QMURLStubRegistry::urlEndsWith("/api"), QMStubResponse::json(R"({"a":1})"));
    auto loader = QMRestLoader::initWithContentType(
        "application/json", QMURL::URLWithString("http://collector.test/api"), "POST");
    loader->loadWithData(
        QMJSON::object(), [](const std::optional<QMJSON>&) { throw QMIllegalStateException("bad answer"); },
        nullptr);
    runFor(0);

    EXPECT_EQ(console.lines(),
              (std::vector<std::string>{"Exception: bad answer", "connection finish load error, response: " +
                                                                     QMDescription(QMJSON{{"a", 1}})}));
}

}  // namespace
