#include <string>
#include <vector>

#include "unit/reporting/QMReportingFixture.h"

namespace {

class QMOnDemandReporterTest : public QMReportingTest {
  protected:
    void SetUp() override {
        QMReportingTest::SetUp();
        startSession();
        reporter = plugin->onDemandReporter();
        ASSERT_NE(reporter, nullptr);
    }
    void TearDown() override {
        reporter.reset();
        QMReportingTest::TearDown();
    }
    void send(const QMJSON& report) {
        reporter->sendOnDemandReport(report, nullptr, nullptr);
        runFor(0);
    }
    std::optional<std::string> lastBody() const { return reports().back().body; }

    std::shared_ptr<QMOnDemandReporter> reporter;
};

TEST_F(QMOnDemandReporterTest, PulseNumbersAreSharedWithThePeriodicalReports) {
    send({{"type", "J"}, {"joinTime", 1200}});
    EXPECT_EQ(lastBody(), std::optional<std::string>(
                              R"({"sessionId":"S-1","type":"J","joinTime":1200,"pulseNumber":1})"));
    EXPECT_EQ(reports().back().url, "http://collector.test/player/report");
    EXPECT_EQ(reports().back().header("Content-Length"), std::optional<std::string>("62"));
    EXPECT_EQ(console.lines(), std::vector<std::string>{line("I", "J", "JT:'1200', ")});

    plugin->periodicalReporter()->start();
    runFor(0);
    EXPECT_EQ(bodyOf(reports().back())["pulseNumber"], 2);
    EXPECT_EQ(bodyOf(reports().back())["periodicalNumber"], 1);

    send({{"type", "D"}, {"duration", 5000}});
    EXPECT_EQ(bodyOf(reports().back())["pulseNumber"], 3);
    EXPECT_EQ(plugin->periodicalReporter()->pulseCounter(), 3);
    EXPECT_TRUE(console.contains(line("I", "D", "D:'5000', ")));
}

TEST_F(QMOnDemandReporterTest, LogReportsTakeNoPulseAndAreNotEchoed) {
    send({{"type", "L"}, {"logArray", QMJSON::array()}, {"cid", {"cid-1"}}});

    EXPECT_EQ(lastBody(),
              std::optional<std::string>(R"({"sessionId":"S-1","type":"L","logArray":[],"cid":["cid-1"]})"));
    EXPECT_EQ(plugin->periodicalReporter()->pulseCounter(), 0);
    EXPECT_TRUE(console.lines().empty());
}

TEST_F(QMOnDemandReporterTest, ArraysAreEchoedElementByElementAndReportSessionIdWins) {
    send({{"type", "B"}, {"bitrates", {100, 200, 300}}, {"sessionId", "other"}});

    EXPECT_EQ(lastBody(),
              std::optional<std::string>(
                  R"({"sessionId":"other","type":"B","bitrates":[100,200,300],"pulseNumber":1})"));
    EXPECT_EQ(console.lines(), std::vector<std::string>{line("I", "B", "BRs:'[100, 200, 300, ]', ")});
}

TEST_F(QMOnDemandReporterTest, WithoutPeriodicalReporterEveryReportIsPulseOne) {
    plugin->setPeriodicalReporter(nullptr);
    send({{"type", "F"}, {"manual", 1}, {"errorCode", "E1"}, {"playerVersion", "1.0"}});
    send({{"manual", 1}});

    ASSERT_EQ(reports().size(), 2u);
    EXPECT_EQ(bodyOf(reports()[0])["pulseNumber"], 1);
    EXPECT_EQ(lastBody(), std::optional<std::string>(R"({"sessionId":"S-1","manual":1,"pulseNumber":1})"));
    // Neither report has a value with a short key; the one without a type has no prefix.
    EXPECT_EQ(console.lines(), (std::vector<std::string>{line("I", "F", ""), line("I", " ", "")}));
}

TEST_F(QMOnDemandReporterTest, OutcomesReachOnlyTheCallbacks) {
    reportAnswers.push_back(QMStubResponse::json(R"({"skipReports":1})", 503));
    std::vector<std::string> outcomes;
    reporter->sendOnDemandReport(
        {{"type", "E"}},
        [&](const std::optional<QMJSON>& answer) {
            outcomes.push_back("complete " + answer.value_or(QMJSON()).dump());
        },
        [&](int32_t code) { outcomes.push_back("failed " + std::to_string(code)); });
    runFor(0);

    EXPECT_EQ(outcomes, (std::vector<std::string>{"failed 503", R"(complete {"skipReports":1})"}));
    EXPECT_EQ(plugin->periodicalReporter()->skippedReportsCount(), 0);
}

}  // namespace
