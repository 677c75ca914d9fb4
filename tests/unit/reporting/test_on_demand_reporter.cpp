#include "unit/reporting/QMReportingFixture.h"

namespace veyrakit {

namespace {

class QMOnDemandReporterTest : public QMReportingTest {
  protected:
    void SetUp() override {
        QMReportingTest::SetUp();
        startSession();
    }
    void send(const QMJSON& report) {
        plugin->onDemandReporter()->sendOnDemandReport(report, nullptr, nullptr);
        runFor(0);
    }
};

TEST_F(QMOnDemandReporterTest, PulseNumbersAreSharedWithThePeriodicalReportsButNotWithLogReports) {
    send({{"type", "J"}, {"joinTime", 1200}});
    EXPECT_EQ(bodyAt(0), R"({"sessionId":"S-1","type":"J","joinTime":1200,"pulseNumber":1})");
    EXPECT_EQ(reports()[0].header("Content-Length"), std::optional<std::string>("62"));
    plugin->periodicalReporter()->start();
    runFor(0);
    EXPECT_EQ(jsonAt(1)["pulseNumber"], 2);
    EXPECT_EQ(jsonAt(1)["periodicalNumber"], 1);

    console.clear();
    send({{"type", "L"}, {"logArray", QMJSON::array()}});
    EXPECT_EQ(bodyAt(2), R"({"sessionId":"S-1","type":"L","logArray":[]})");
    EXPECT_TRUE(console.lines().empty());
    send({{"type", "B"}, {"bitrates", {100, 200, 300}}, {"sessionId", "other"}});
    EXPECT_EQ(bodyAt(3), R"({"sessionId":"other","type":"B","bitrates":[100,200,300],"pulseNumber":3})");
    EXPECT_EQ(console.lines(), std::vector<std::string>{line("I", "B", "BRs:'[100, 200, 300, ]', ")});
}

TEST_F(QMOnDemandReporterTest, WithoutPeriodicalReporterEveryReportIsPulseOne) {
    plugin->setPeriodicalReporter(nullptr);
    send({{"type", "F"}, {"manual", 1}});
    send({{"manual", 1}});
    EXPECT_EQ(jsonAt(0)["pulseNumber"], 1);
    EXPECT_EQ(bodyAt(1), R"({"sessionId":"S-1","manual":1,"pulseNumber":1})");
    // No value has a short key; the report without a type logs without a prefix.
    EXPECT_EQ(console.lines(), (std::vector<std::string>{line("I", "F", ""), line("I", " ", "")}));
}

}  // namespace

}  // namespace veyrakit
