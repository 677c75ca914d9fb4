#include <gtest/gtest.h>

#include "core/QMObjectRepository.h"
#include "core/QMVeyraPlugin.h"
#include "metrics/QMMetricManager.h"
#include "platform/QMFormat.h"
#include "support/QMTestEnvironment.h"
#include "unit/metrics/QMRecordingMetric.h"
#include "veyrakit/VeyraKit.h"
#include "veyrakit/platform/QMURL.h"

namespace veyrakit {

namespace {
// Reports how many reset hooks ran before its values were computed.
class QMResetCountingMetric : public QMRecordingMetric {
  public:
    std::optional<QMJSON> calculateMetric() override {
        QMRecordingMetric::calculateMetric();
        return QMJSON{{"currentViewedTime", QMFormat("%d", resets)}, {"shared", "from 2"}};
    }
};

// A plugin whose metric manager holds whatever metrics the test installs.
class QMInstalledMetricsPlugin : public QMVeyraPlugin {
  public:
    std::shared_ptr<QMMetricManager> installed = std::make_shared<QMMetricManager>();
    std::shared_ptr<QMMetricManager> getMetricManagerInstance() override { return installed; }
};
}  // namespace

class QMReportMergeTest : public QMVirtualTimeTest {
  protected:
    void TearDown() override {
        QMObjectRepository::getRepositoryInstance()->setPlugin(nullptr);
        INTERVAL_LENGTH = 10;
        QMVirtualTimeTest::TearDown();
    }
    std::vector<std::pair<int64_t, QMJSON>> periodicalReports() {
        std::vector<std::pair<int64_t, QMJSON>> reports;
        for (const auto& request : stubs().requestsTo("/player/report")) {
            auto body = QMJSONSerialization::JSONObjectWithData(request.body.value_or(""));
            if (body && body->value("type", "") == "P")
                reports.emplace_back(request.timeMillis - startMillis, *body);
        }
        return reports;
    }
};

TEST_F(QMReportMergeTest, EveryPeriodicalReportCarriesTheMergedValuesAndResetsOnce) {
    stubs().addStub(QMURLStubRegistry::urlEndsWith("/player/init"),
                    QMStubResponse::json(R"({"sessionId":"S-1","intervalSeconds":10000})"));
    // The session start and the first three periodical reports get through, then the server is gone.
    stubs().addStub(QMURLStubRegistry::urlEndsWith("/player/report"), QMStubResponse::json("{}"), 4);
    stubs().addStub(QMURLStubRegistry::urlEndsWith("/player/report"), QMStubResponse::fail());
    std::map<int, std::shared_ptr<QMRecordingMetric>> metrics = {
        {0, std::make_shared<QMRecordingMetric>()},
        {2, std::make_shared<QMResetCountingMetric>()},
        {4, std::make_shared<QMRecordingMetric>()}};
    metrics[0]->values = QMJSON{{"playing", true}, {"shared", "from 0"}};
    metrics[4]->collectable = false;
    auto plugin = std::make_shared<QMInstalledMetricsPlugin>();
    for (auto& [key, metric] : metrics) plugin->installed->insertMetric(key, metric);

    plugin->initWithParams(QMURL::URLWithString("https://media.test/a.m3u8"), "HLS", "asset-1",
                           "https://collector.test", "cid-1", std::nullopt, "Asset", "viewer-1", std::nullopt,
                           std::nullopt, std::nullopt);
    plugin->onPlayerStart();
    EXPECT_EQ(metrics[4]->starts, 1);
    runFor(25'000);
    auto reports = periodicalReports();
    ASSERT_EQ(reports.size(), 3u);
    for (int i = 0; i < 3; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(reports[i].first, 10'000 * i);
        EXPECT_EQ(reports[i].second, (QMJSON{{"type", "P"},
                                             {"sessionId", "S-1"},
                                             {"playing", true},
                                             {"shared", "from 2"},
                                             {"currentViewedTime", std::to_string(i)},
                                             {"periodicalNumber", i + 1},
                                             {"pulseNumber", i + 2}}));
    }
    EXPECT_EQ(metrics[0]->resets, 3);
    EXPECT_EQ(metrics[4]->calculations + metrics[4]->resets, 0);
    EXPECT_TRUE(metrics[4]->isSentSuccessfully());

    runFor(10'000);  // a failed scheduled report is not retried; the metrics hear of it
    EXPECT_EQ(periodicalReports().size(), 4u);
    EXPECT_FALSE(metrics[4]->isSentSuccessfully());
    EXPECT_EQ(metrics[2]->resets, 4);

    plugin->destroy();
    EXPECT_EQ(plugin->metricManager(), nullptr);
    for (auto& [key, metric] : metrics) EXPECT_EQ(metric->stops, 1);
    runFor(30'000);
    EXPECT_EQ(periodicalReports().size(), 4u);
}

}  // namespace veyrakit
