#include <gtest/gtest.h>

#include "core/QMObjectRepository.h"
#include "core/QMVeyraPlugin.h"
#include "metrics/QMMetricManager.h"
#include "platform/QMFormat.h"
#include "platform/QMURL.h"
#include "support/QMTestEnvironment.h"
#include "unit/metrics/QMRecordingMetric.h"
#include "veyrakit/VeyraKit.h"

namespace {
// Reports how many reset hooks ran before the values were computed.
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
    void SetUp() override {
        QMVirtualTimeTest::SetUp();
        stubs().addStub(QMURLStubRegistry::urlEndsWith("/player/init"),
                        QMStubResponse::json(R"({"sessionId":"S-1","intervalSeconds":10000})"));
        stubs().addStub(QMURLStubRegistry::urlEndsWith("/player/report"), QMStubResponse::json("{}"),
                        answeredReports);
        stubs().addStub(QMURLStubRegistry::urlEndsWith("/player/report"), QMStubResponse::fail());
        metrics[0]->values = QMJSON{{"playing", true}, {"shared", "from 0"}};
        metrics[4]->values = QMJSON{{"totalFullScreenTime", "5"}};
        metrics[4]->collectable = false;
        for (auto& [key, metric] : metrics) plugin->installed->insertMetric(key, metric);
    }
    void TearDown() override {
        QMObjectRepository::getRepositoryInstance()->setPlugin(nullptr);
        INTERVAL_LENGTH = 10;
        QMVirtualTimeTest::TearDown();
    }
    std::vector<QMJSON> periodicalBodies() {
        std::vector<QMJSON> bodies;
        for (const auto& request : stubs().requestsTo("/player/report")) {
            auto body = QMJSONSerialization::JSONObjectWithData(request.body.value_or(""));
            if (body && body->value("type", "") == "P") bodies.push_back(*body);
        }
        return bodies;
    }

    std::shared_ptr<QMInstalledMetricsPlugin> plugin = std::make_shared<QMInstalledMetricsPlugin>();
    // Answers the session start and the first three periodical reports, then refuses.
    const int answeredReports = 4;
    std::map<int, std::shared_ptr<QMRecordingMetric>> metrics = {
        {0, std::make_shared<QMRecordingMetric>()},
        {2, std::make_shared<QMResetCountingMetric>()},
        {4, std::make_shared<QMRecordingMetric>()}};
};

TEST_F(QMReportMergeTest, EveryPeriodicalReportCarriesTheMergedValuesAndResetsOnce) {
    plugin->initWithParams(QMURL::URLWithString("https://media.test/a.m3u8"), "HLS", "asset-1",
                           "https://collector.test", "cid-1", std::nullopt, "Asset", "viewer-1", std::nullopt,
                           std::nullopt, std::nullopt);
    plugin->onPlayerStart();
    for (auto& [key, metric] : metrics) EXPECT_EQ(metric->starts, 1);

    runFor(25'000);  // first report at session start, then one every 10 s
    auto bodies = periodicalBodies();
    ASSERT_EQ(bodies.size(), 3u);
    for (std::size_t i = 0; i < bodies.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(bodies[i]["sessionId"], "S-1");
        EXPECT_EQ(bodies[i]["periodicalNumber"], i + 1);
        EXPECT_EQ(bodies[i]["playing"], true);
        EXPECT_EQ(bodies[i]["shared"], "from 2");  // the higher key wins
        EXPECT_EQ(bodies[i]["currentViewedTime"], QMFormat("%d", static_cast<int>(i)));
        EXPECT_FALSE(bodies[i].contains("totalFullScreenTime"));
    }
    EXPECT_EQ(metrics[0]->resets, 3);
    EXPECT_EQ(metrics[2]->resets, 3);
    EXPECT_EQ(metrics[4]->calculations + metrics[4]->resets, 0);
    EXPECT_TRUE(metrics[0]->isSentSuccessfully());

    runFor(10'000);  // a failed scheduled report is not retried; the metrics hear of it
    ASSERT_EQ(periodicalBodies().size(), 4u);
    EXPECT_FALSE(metrics[4]->isSentSuccessfully());
    EXPECT_EQ(metrics[2]->resets, 4);

    plugin->destroy();
    EXPECT_EQ(plugin->metricManager(), nullptr);
    for (auto& [key, metric] : metrics) EXPECT_EQ(metric->stops, 1);
    runFor(30'000);
    EXPECT_EQ(periodicalBodies().size(), 4u);
}
