#include <gtest/gtest.h>

#include "metrics/QMMetricManager.h"
#include "platform/QMFormat.h"
#include "support/QMTestEnvironment.h"
#include "unit/metrics/QMRecordingMetric.h"

namespace veyrakit {

class QMMetricManagerTest : public QMVirtualTimeTest {
  protected:
    void SetUp() override {
        QMVirtualTimeTest::SetUp();
        for (int key : {5, 3, 0}) {  // out of key order: enumeration must not follow insertion
            metrics[key] = std::make_shared<QMRecordingMetric>();
            manager->insertMetric(key, metrics[key]);
        }
    }
    long errorLines(const std::string& step, int key, const std::string& what) {
        return loggerLines(console, "E", "X",
                           QMFormat("Error %@ thrown during %@ for metric %@", what, step, metrics[key]));
    }

    std::shared_ptr<QMMetricManager> manager = std::make_shared<QMMetricManager>();
    std::map<int, std::shared_ptr<QMRecordingMetric>> metrics;
};

TEST_F(QMMetricManagerTest, MergesInAscendingKeyOrderAndResetsOnlyCollectedMetrics) {
    metrics[0]->values = QMJSON{{"playing", true}, {"shared", "from 0"}};
    metrics[3]->values = QMJSON{{"shared", "from 3"}};
    metrics[5]->values = QMJSON{{"shared", "from 5"}};
    metrics[5]->collectable = false;
    EXPECT_EQ(manager->serializeMetricValues(), (QMJSON{{"playing", true}, {"shared", "from 3"}}));
    EXPECT_EQ(metrics[3]->resets, 1);
    EXPECT_EQ(metrics[5]->calculations + metrics[5]->resets, 0);

    metrics[0]->values = std::nullopt;  // contributes nothing, still reset
    metrics[3]->collectable = false;
    EXPECT_EQ(manager->serializeMetricValues(), QMJSON::object());
    EXPECT_EQ(metrics[0]->resets, 2);

    metrics[0]->collectFailure = "calculation failed";  // not contained here
    EXPECT_THROW(manager->serializeMetricValues(), std::runtime_error);
    EXPECT_EQ(metrics[0]->resets, 2);
}

TEST_F(QMMetricManagerTest, StartAndStopContainEachMetricsException) {
    manager->dispose();  // never started: nothing stops
    EXPECT_EQ(metrics[0]->stops, 0);

    metrics[3]->startFailure = "no player";
    manager->start();
    EXPECT_TRUE(manager->started());
    for (int key : {0, 3, 5}) EXPECT_EQ(metrics[key]->starts, 1);
    EXPECT_EQ(errorLines("startMetricCollection", 3, "no player"), 1);

    metrics[0]->stopFailure = "observer missing";
    metrics[5]->stopFailure = "already stopped";
    manager->dispose();
    manager->dispose();  // started is never cleared: stops again
    for (int key : {0, 3, 5}) EXPECT_EQ(metrics[key]->stops, 2);
    EXPECT_EQ(errorLines("stopMetricCollection", 0, "observer missing"), 2);
    EXPECT_EQ(errorLines("stopMetricCollection", 5, "already stopped"), 2);
    EXPECT_EQ(console.lines().size(), 5u);
}

TEST_F(QMMetricManagerTest, SendOutcomeGoesToEveryMetricOnly) {
    manager->isSentSuccessfully(true);
    for (int key : {0, 3, 5}) EXPECT_TRUE(metrics[key]->isSentSuccessfully());
    EXPECT_FALSE(manager->sentSuccessfully());
    EXPECT_EQ(manager->metricForKey(3), metrics[3]);
    EXPECT_EQ(manager->metricForKey(QMMetricManager::PLAYBACK_METRIC_KEY), nullptr);
}

}  // namespace veyrakit
