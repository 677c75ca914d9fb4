#include <gtest/gtest.h>

#include "metrics/QMMetricManager.h"
#include "platform/QMFormat.h"
#include "support/QMTestEnvironment.h"
#include "unit/metrics/QMRecordingMetric.h"

class QMMetricManagerTest : public QMVirtualTimeTest {
protected:
    void SetUp() override {
        QMVirtualTimeTest::SetUp();
        // Inserted out of key order: the enumeration must not depend on insertion.
        for (int key : {5, 3, 0}) {
            metrics[key] = std::make_shared<QMRecordingMetric>();
            manager->insertMetric(key, metrics[key]);
        }
    }
    std::string errorLine(const std::string& step, int key, const std::string& what) {
        return QMFormat("Error %@ thrown during %@ for metric %@", what, step, metrics[key]);
    }

    std::shared_ptr<QMMetricManager> manager = std::make_shared<QMMetricManager>();
    std::map<int, std::shared_ptr<QMRecordingMetric>> metrics;
};

TEST_F(QMMetricManagerTest, MergesInAscendingKeyOrderAndResetsOnlyCollectedMetrics) {
    metrics[0]->values = QMJSON{{"playing", true}, {"shared", "from 0"}};
    metrics[3]->values = QMJSON{{"shared", "from 3"}, {"totalViewedTime", "1200"}};
    metrics[5]->values = QMJSON{{"shared", "from 5"}};
    metrics[5]->collectable = false;

    QMJSON merged = manager->serializeMetricValues();
    EXPECT_EQ(merged, (QMJSON{{"playing", true}, {"shared", "from 3"}, {"totalViewedTime", "1200"}}));
    EXPECT_EQ(metrics[0]->resets, 1);
    EXPECT_EQ(metrics[3]->resets, 1);
    EXPECT_EQ(metrics[5]->calculations + metrics[5]->resets, 0);

    metrics[0]->values = std::nullopt;  // contributes nothing, still reset
    metrics[3]->collectable = false;
    merged = manager->serializeMetricValues();
    EXPECT_TRUE(merged.is_object());
    EXPECT_TRUE(merged.empty());
    EXPECT_EQ(metrics[0]->resets, 2);
}

TEST_F(QMMetricManagerTest, CollectionFailuresPropagate) {
    metrics[3]->collectFailure = "calculation failed";
    EXPECT_THROW(manager->serializeMetricValues(), std::runtime_error);
    EXPECT_EQ(metrics[3]->resets, 0);
    EXPECT_EQ(metrics[5]->calculations, 0);
}

TEST_F(QMMetricManagerTest, StartAndStopContainEachMetricsException) {
    metrics[3]->startFailure = "no player";
    manager->start();
    EXPECT_TRUE(manager->started());
    for (int key : {0, 3, 5}) EXPECT_EQ(metrics[key]->starts, 1);
    EXPECT_EQ(loggerLines(console, "E", "X", errorLine("startMetricCollection", 3, "no player")), 1);

    metrics[0]->stopFailure = "observer missing";
    metrics[5]->stopFailure = "already stopped";
    manager->dispose();
    manager->dispose();  // started is never cleared: stops again
    for (int key : {0, 3, 5}) EXPECT_EQ(metrics[key]->stops, 2);
    EXPECT_EQ(loggerLines(console, "E", "X", errorLine("stopMetricCollection", 0, "observer missing")), 2);
    EXPECT_EQ(loggerLines(console, "E", "X", errorLine("stopMetricCollection", 5, "already stopped")), 2);
    EXPECT_EQ(console.lines().size(), 5u);
}

TEST_F(QMMetricManagerTest, DisposeBeforeStartAndTheSendOutcome) {
    manager->dispose();
    for (int key : {0, 3, 5}) EXPECT_EQ(metrics[key]->stops, 0);

    manager->isSentSuccessfully(true);
    for (int key : {0, 3, 5}) EXPECT_TRUE(metrics[key]->isSentSuccessfully());
    EXPECT_FALSE(manager->sentSuccessfully());  // the manager itself keeps nothing
    manager->isSentSuccessfully(false);
    EXPECT_FALSE(metrics[5]->isSentSuccessfully());
    EXPECT_EQ(manager->metricForKey(3), metrics[3]);
    EXPECT_EQ(manager->metricForKey(QMMetricManager::PLAYBACK_METRIC_KEY), nullptr);
}
