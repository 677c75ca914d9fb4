#include "unit/reporting/QMReportingFixture.h"

namespace veyrakit {

namespace {

class QMPeriodicalReporterTest : public QMReportingTest {
  protected:
    void SetUp() override {
        QMReportingTest::SetUp();
        startSession();
        reporter = plugin->periodicalReporter();
    }
    void TearDown() override {
        reporter.reset();
        QMReportingTest::TearDown();
    }
    std::shared_ptr<QMPeriodicalReporter> reporter;
};

TEST_F(QMPeriodicalReporterTest, FirstReportAtStartThenOnePerInterval) {
    reportAnswers.push_back(QMStubResponse::json("", 500));
    reporter->start();
    runFor(0);

    const std::string body =
        R"({"type":"P","sessionId":"S-1","currentBitRate":1500,"totalElapsedTime":"10000",)"
        R"("periodicalNumber":1,"pulseNumber":1})";
    ASSERT_EQ(reports().size(), 1u);
    EXPECT_EQ(reports()[0].url, "http://collector.test/player/report");
    EXPECT_EQ(bodyAt(0), body);
    EXPECT_EQ(reports()[0].header("Content-Length"), std::optional<std::string>(std::to_string(body.size())));
    EXPECT_EQ(console.lines(),
              (std::vector<std::string>{line("I", "P", "CBR:'1500', PRD:'1', PLS:'1', "),
                                        line("I", "SV", "Start peroidical timer, interval:  10"),
                                        line("I", "PR", "Periodical received non-200 response"),
                                        line("I", "PR", "SkipReports: 0")}));
    EXPECT_EQ(metric->resets, 1);
    EXPECT_TRUE(metric->isSentSuccessfully());

    metric->values = {{"pulseNumber", 99}};  // the counters win over a metric value of their name
    runFor(9999);
    EXPECT_EQ(reports().size(), 1u);
    runFor(1);
    ASSERT_EQ(reports().size(), 2u);
    EXPECT_EQ(reports()[1].timeMillis, startMillis + 10000);
    EXPECT_EQ(bodyAt(1), R"({"type":"P","sessionId":"S-1","pulseNumber":2,"periodicalNumber":2})");
}

TEST_F(QMPeriodicalReporterTest, ZeroIntervalIsCorrectedToTenWithAnErrorLine) {
    INTERVAL_LENGTH = 0;
    reporter->start();
    EXPECT_EQ(linesStartingWith("I SV\t"),
              std::vector<std::string>{line("I", "SV", "Start peroidical timer, interval:  0")});
    EXPECT_EQ(linesStartingWith("E SV\t"),
              std::vector<std::string>{line("E", "SV", "Timer Interval length is 0 and set to 10")});
    EXPECT_EQ(INTERVAL_LENGTH, 10);
    runFor(10000);
    ASSERT_EQ(reports().size(), 2u);
    EXPECT_EQ(reports()[1].timeMillis, startMillis + 10000);
}

TEST_F(QMPeriodicalReporterTest, SkipReportsSkipsDueReportsScheduledOrNotWithoutMovingCounters) {
    reportAnswers.push_back(QMStubResponse::json(R"({"skipReports":"2"})"));
    reporter->start();
    runFor(10000);
    EXPECT_EQ(console.lines().back(), line("I", "T", "Skipping next 2"));
    reporter->sendPeriodicalReport(true);
    EXPECT_EQ(console.lines().back(), line("I", "T", "Skipping next 1"));
    runFor(10000);
    ASSERT_EQ(reports().size(), 2u);
    EXPECT_EQ(jsonAt(1)["periodicalNumber"], 2);
    EXPECT_EQ(metric->resets, 2);

    reportAnswers.push_back(QMStubResponse::json(R"({"skipReports":1})"));
    runFor(10000);
    reporter->sendUnscheduledPeriodical(true);  // skipped, and still ends the session
    EXPECT_EQ(reports().size(), 3u);
    EXPECT_TRUE(plugin->destroyed());
    EXPECT_EQ(console.lines().back(), line("I", "T", "P timer disposed"));
}

TEST_F(QMPeriodicalReporterTest, ScheduledFailuresAreNotRetriedUnscheduledShareThreeRetries) {
    defaultReportAnswer = QMStubResponse::fail();
    metric->setIsSentSuccessfully(true);
    reporter->start();
    runFor(0);
    EXPECT_EQ(reports().size(), 1u);
    EXPECT_FALSE(metric->isSentSuccessfully());
    EXPECT_EQ(console.lines().back(), line("E", "PR", "Error"));

    metric->setIsSentSuccessfully(true);
    reporter->sendUnscheduledPeriodical(false);
    runFor(0);
    reporter->sendUnscheduledPeriodical(false);
    runFor(0);
    ASSERT_EQ(reports().size(), 6u);  // 1 + (1 + 3 retries) + 1
    EXPECT_EQ(bodyAt(4), bodyAt(1));
    EXPECT_EQ(jsonAt(5)["periodicalNumber"], 3);
    EXPECT_EQ(linesStartingWith("E PR\t{Error}").size(), 6u);
    EXPECT_TRUE(metric->isSentSuccessfully());
}

TEST_F(QMPeriodicalReporterTest, MinusTwoEndsTheSessionAndLaterAnswersAreIgnored) {
    QMStubResponse late = QMStubResponse::json(R"({"skipReports":5})");
    late.delayMillis = 500;
    reportAnswers = {late, QMStubResponse::json(R"({"skipReports":-2})")};
    reporter->start();
    reporter->sendUnscheduledPeriodical(false);
    runFor(0);
    EXPECT_TRUE(plugin->destroyed());
    EXPECT_TRUE(console.contains(line("I", "T", "P timer disposed")));
    const std::string onlyAnswer = line("I", "PR", "SkipReports: -2");
    runFor(60000);
    EXPECT_EQ(linesStartingWith("I PR\t{SkipReports"), std::vector<std::string>{onlyAnswer});
    EXPECT_EQ(reporter->skippedReportsCount(), 0);
    EXPECT_EQ(reports().size(), 2u);
}

}  // namespace

}  // namespace veyrakit
