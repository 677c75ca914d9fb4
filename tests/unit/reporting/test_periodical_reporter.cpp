#include <string>
#include <vector>

#include "unit/reporting/QMReportingFixture.h"

namespace {

class QMPeriodicalReporterTest : public QMReportingTest {
  protected:
    void SetUp() override {
        QMReportingTest::SetUp();
        startSession();
        reporter = plugin->periodicalReporter();
        ASSERT_NE(reporter, nullptr);
    }
    void TearDown() override {
        reporter.reset();
        QMReportingTest::TearDown();
    }
    int32_t periodicalNumberOf(std::size_t index) const {
        return bodyOf(reports().at(index))["periodicalNumber"];
    }

    std::shared_ptr<QMPeriodicalReporter> reporter;
};

TEST_F(QMPeriodicalReporterTest, FirstReportAtStartThenOnePerInterval) {
    reporter->start();
    runFor(0);

    ASSERT_EQ(reports().size(), 1u);
    const auto first = reports()[0];
    EXPECT_EQ(first.url, "http://collector.test/player/report");
    EXPECT_EQ(first.method, "POST");
    const std::string body =
        R"({"type":"P","sessionId":"S-1","currentBitRate":1500,"totalElapsedTime":"10000","periodicalNumber":1,"pulseNumber":1})";
    EXPECT_EQ(first.body, std::optional<std::string>(body));
    EXPECT_EQ(first.header("Content-Type"), std::optional<std::string>("application/json"));
    EXPECT_EQ(first.header("Content-Length"), std::optional<std::string>(std::to_string(body.size())));
    EXPECT_EQ(console.lines(),
              (std::vector<std::string>{line("I", "P", "CBR:'1500', PRD:'1', PLS:'1', "),
                                        line("I", "SV", "Start peroidical timer, interval:  10"),
                                        line("I", "PR", "SkipReports: 0")}));
    EXPECT_EQ(metricManager->metric->resets, 1);
    EXPECT_TRUE(metricManager->metric->isSentSuccessfully());

    runFor(9999);
    EXPECT_EQ(reports().size(), 1u);
    runFor(1);
    ASSERT_EQ(reports().size(), 2u);
    EXPECT_EQ(reports()[1].timeMillis, startMillis + 10000);
    EXPECT_EQ(periodicalNumberOf(1), 2);
    runFor(10000);
    EXPECT_EQ(reports().size(), 3u);
}

TEST_F(QMPeriodicalReporterTest, CountersOverwriteMetricValuesOfTheSameName) {
    metricManager->metric->values = {{"pulseNumber", 99}, {"periodicalNumber", 98}};
    reporter->start();
    runFor(0);

    EXPECT_EQ(
        reports()[0].body,
        std::optional<std::string>(R"({"type":"P","sessionId":"S-1","pulseNumber":1,"periodicalNumber":1})"));
}

TEST_F(QMPeriodicalReporterTest, ZeroIntervalIsCorrectedToTenWithAnErrorLine) {
    INTERVAL_LENGTH = 0;
    reporter->start();
    runFor(0);

    EXPECT_EQ(linesStartingWith("I SV\t").size(), 1u);
    EXPECT_TRUE(console.contains(line("I", "SV", "Start peroidical timer, interval:  0")));
    EXPECT_EQ(linesStartingWith("E SV\t"),
              std::vector<std::string>{line("E", "SV", "Timer Interval length is 0 and set to 10")});
    EXPECT_EQ(INTERVAL_LENGTH, 10);
    ASSERT_NE(reporter->timer(), nullptr);
    EXPECT_EQ(reporter->timer()->timeInterval(), 10.0);
    runFor(10000);
    ASSERT_EQ(reports().size(), 2u);
    EXPECT_EQ(reports()[1].timeMillis, startMillis + 10000);
}

TEST_F(QMPeriodicalReporterTest, SkipReportsSkipsThatManyDueReportsWithoutMovingCounters) {
    reportAnswers.push_back(QMStubResponse::json(R"({"skipReports":2})"));
    reporter->start();
    runFor(0);
    EXPECT_EQ(reporter->skippedReportsCount(), 2);

    runFor(10000);
    EXPECT_TRUE(console.contains(line("I", "T", "Skipping next 2")));
    runFor(10000);
    EXPECT_TRUE(console.contains(line("I", "T", "Skipping next 1")));
    EXPECT_EQ(reports().size(), 1u);
    EXPECT_EQ(metricManager->metric->calculated, 1);

    runFor(10000);
    ASSERT_EQ(reports().size(), 2u);
    EXPECT_EQ(periodicalNumberOf(1), 2);
    EXPECT_EQ(bodyOf(reports()[1])["pulseNumber"], 2);
    EXPECT_EQ(linesStartingWith("I T\t{Skipping").size(), 2u);
}

TEST_F(QMPeriodicalReporterTest, SkippedUnscheduledReportStillDestroysThePlugin) {
    reportAnswers.push_back(QMStubResponse::json(R"({"skipReports":1})"));
    reporter->start();
    runFor(0);
    reporter->sendUnscheduledPeriodical(true);
    runFor(0);

    EXPECT_TRUE(console.contains(line("I", "T", "Skipping next 1")));
    EXPECT_EQ(reports().size(), 1u);
    EXPECT_TRUE(plugin->destroyed());
    EXPECT_TRUE(console.contains(line("I", "T", "P timer disposed")));
}

TEST_F(QMPeriodicalReporterTest, ScheduledFailureIsNotRetriedAndTellsTheMetricsFalse) {
    metricManager->metric->setIsSentSuccessfully(true);
    reportAnswers.push_back(QMStubResponse::fail());
    reporter->start();
    runFor(0);

    EXPECT_EQ(reports().size(), 1u);
    EXPECT_FALSE(metricManager->metric->isSentSuccessfully());
    EXPECT_EQ(linesStartingWith("E PR\t"), std::vector<std::string>{line("E", "PR", "Error")});
    runFor(10000);
    EXPECT_EQ(periodicalNumberOf(1), 2);
}

TEST_F(QMPeriodicalReporterTest, UnscheduledReportsShareThreeRetriesForTheWholeSession) {
    defaultReportAnswer = QMStubResponse::fail();
    metricManager->metric->setIsSentSuccessfully(true);
    reporter->sendUnscheduledPeriodical(false);
    runFor(0);

    ASSERT_EQ(reports().size(), 4u);
    for (const auto& request : reports()) {
        EXPECT_EQ(bodyOf(request)["periodicalNumber"], 1);
    }
    EXPECT_EQ(reporter->unscheduledReportRetryCount(), 3);
    EXPECT_EQ(linesStartingWith("E PR\t{Error}").size(), 4u);

    reporter->sendUnscheduledPeriodical(false);
    runFor(0);
    ASSERT_EQ(reports().size(), 5u);
    EXPECT_EQ(periodicalNumberOf(4), 2);
    EXPECT_EQ(linesStartingWith("E PR\t{Error}").size(), 5u);
    EXPECT_TRUE(metricManager->metric->isSentSuccessfully());
    EXPECT_FALSE(plugin->destroyed());
}

TEST_F(QMPeriodicalReporterTest, NonOkStatusIsOnlyLoggedAndTheAnswerStillCounts) {
    reportAnswers.push_back(QMStubResponse::json("", 500));
    reportAnswers.push_back(QMStubResponse::json(R"({"skipReports":"1"})", 201));
    reporter->start();
    runFor(0);
    EXPECT_EQ(linesStartingWith("I PR\t"),
              (std::vector<std::string>{line("I", "PR", "Periodical received non-200 response"),
                                        line("I", "PR", "SkipReports: 0")}));
    EXPECT_TRUE(metricManager->metric->isSentSuccessfully());

    reporter->sendUnscheduledPeriodical(false);
    runFor(0);
    EXPECT_EQ(linesStartingWith("I PR\t{Periodical received non-200 response}").size(), 2u);
    EXPECT_EQ(reporter->skippedReportsCount(), 1);
}

TEST_F(QMPeriodicalReporterTest, AnswerAfterDisposeIsIgnored) {
    QMStubResponse late = QMStubResponse::json(R"({"skipReports":-1})");
    late.delayMillis = 500;
    reportAnswers.push_back(late);
    reporter->start();
    runFor(0);
    reporter->dispose();
    runFor(60000);

    EXPECT_EQ(reporter->timer(), nullptr);
    EXPECT_FALSE(plugin->destroyed());
    EXPECT_TRUE(linesStartingWith("I PR\t").empty());
    EXPECT_EQ(linesStartingWith("I T\t{P timer disposed}").size(), 1u);
    EXPECT_EQ(reports().size(), 1u);
}

struct EndOfSession {
    const char* name;
    const char* answer;
    bool destroys;
};

class QMPeriodicalReporterEndTest : public QMPeriodicalReporterTest,
                                    public ::testing::WithParamInterface<EndOfSession> {};

TEST_P(QMPeriodicalReporterEndTest, MinusOneAndMinusTwoEndTheSession) {
    reportAnswers.push_back(QMStubResponse::json(GetParam().answer));
    reporter->start();
    runFor(0);
    EXPECT_EQ(plugin->destroyed(), GetParam().destroys);
    EXPECT_EQ(reporter->disposed(), GetParam().destroys);
    EXPECT_EQ(console.contains(line("I", "T", "P timer disposed")), GetParam().destroys);

    runFor(60000);
    EXPECT_EQ(reports().size(), GetParam().destroys ? 1u : 7u);
}

INSTANTIATE_TEST_SUITE_P(Answers, QMPeriodicalReporterEndTest,
                         ::testing::Values(EndOfSession{"MinusOne", R"({"skipReports":-1})", true},
                                           EndOfSession{"MinusTwo", R"({"skipReports":-2})", true},
                                           EndOfSession{"MinusTwoAsText", R"({"skipReports":"-2"})", true},
                                           EndOfSession{"MinusThree", R"({"skipReports":-3})", false}),
                         [](const auto& endCase) { return std::string(endCase.param.name); });

}  // namespace
