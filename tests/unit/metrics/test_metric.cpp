#include <gtest/gtest.h>

#include "metrics/QMStatefulMetric.h"
#include "metrics/QMStatelessMetric.h"
#include "platform/QMException.h"
#include "support/QMTestEnvironment.h"
#include "unit/metrics/QMRecordingMetric.h"

namespace veyrakit {

using QMMetricTest = QMVirtualTimeTest;

TEST_F(QMMetricTest, ValueNamesAndShortKeys) {
    std::string names;
    for (auto name : {&QMMetric::PROPERTY_CURRENT_BUFFER_TIME,
                      &QMMetric::PROPERTY_BUFFERING_TIME_LEADING_TO_NOW,
                      &QMMetric::PROPERTY_TOTAL_BUFFER_TIME,
                      &QMMetric::PROPERTY_JOIN_TIME,
                      &QMMetric::PROPERTY_BIT_RATE,
                      &QMMetric::PROPERTY_FRAME_RATE,
                      &QMMetric::PROPERTY_PLAYING,
                      &QMMetric::PROPERTY_PLAYBACK_COMPLETED,
                      &QMMetric::PROPERTY_TOTAL_PLAYING_TIME,
                      &QMMetric::PROPERTY_CURRENT_PLAYING_TIME,
                      &QMMetric::PROPERTY_TOTAL_VIEWED_TIME,
                      &QMMetric::PROPERTY_CURRENT_VIEWED_TIME,
                      &QMMetric::PROPERTY_TOTAL_FULL_SCREEN_TIME,
                      &QMMetric::PROPERTY_CURRENT_FULL_SCREEN_TIME,
                      &QMMetric::PROPERTY_AVAILABLE_BITRATES,
                      &QMMetric::PROPERTY_ASSET_DURATION,
                      &QMMetric::PROPERTY_CURRENT_ELAPSED_TIME,
                      &QMMetric::PROPERTY_TOTAL_ELAPSED_TIME,
                      &QMMetric::PROPERTY_PERIOD_DURATION,
                      &QMMetric::PROPERTY_ALIVE}) {
        names += name() + " ";
    }
    EXPECT_EQ(
        names,
        "currentBufferingTime bufferingTimeLeadingToNow totalBufferingTime joinTime currentBitRate "
        "currentFrameRate playing playbackCompleted totalPlayingTime currentPlayingTime totalViewedTime "
        "currentViewedTime totalFullScreenTime currentFullScreenTime bitrates assetDuration "
        "currentElapsedTime totalElapsedTime periodDuration alive ");
    EXPECT_EQ(QMMetric::ABR_PROPERTY_MAP(),
              (std::map<std::string, std::string>{{"currentBufferingTime", "CBF"},
                                                  {"bufferingTimeLeadingToNow", "BFTN"},
                                                  {"totalBufferingTime", "TBF"},
                                                  {"joinTime", "JT"},
                                                  {"currentBitRate", "CBR"},
                                                  {"currentFrameRate", "CFR"},
                                                  {"playing", "P"},
                                                  {"playbackCompleted", "PC"},
                                                  {"totalPlayingTime", "TPT"},
                                                  {"currentPlayingTime", "CPT"},
                                                  {"totalViewedTime", "TVT"},
                                                  {"currentViewedTime", "CVT"},
                                                  {"totalFullScreenTime", "TFT"},
                                                  {"currentFullScreenTime", "CFT"},
                                                  {"bitrates", "BRs"},
                                                  {"pulseNumber", "PLS"},
                                                  {"periodicalNumber", "PRD"},
                                                  {"duration", "D"}}));
}

TEST_F(QMMetricTest, AbstractOperationsThrowAndCollectionAlwaysRunsTheResetHook) {
    auto base = std::make_shared<QMMetric>();
    EXPECT_EQ(thrownBy<QMInternalInconsistencyException>([&] { base->canCollectMetric(); }),
              "NSInternalInconsistencyException: You must override canCollectMetric in a subclass");
    EXPECT_EQ(thrownBy<QMInternalInconsistencyException>([&] { base->collectMetric(); }),
              "NSInternalInconsistencyException: You must override calculateMetric in a subclass");

    QMRecordingMetric metric;
    metric.values = std::nullopt;
    EXPECT_EQ(metric.collectMetric(), std::nullopt);
    EXPECT_EQ(metric.resets, 1);

    QMStatelessMetric stateless;  // collectable once its dictionary exists, even empty
    EXPECT_FALSE(stateless.canCollectMetric());
    stateless.setMetric(QMJSON::object());
    EXPECT_TRUE(stateless.canCollectMetric());
}

TEST_F(QMMetricTest, StatefulMetricStatesAndLastActiveState) {
    QMStatefulMetric metric;
    metric.enterStateWithName("a");
    runFor(250);
    metric.enterStateWithName("b", now());
    metric.enterStateWithName("a");  // already open: still becomes the last active one
    EXPECT_EQ(metric.lastActiveState(), metric.loadState("a"));
    metric.exitStateWithName("a");
    EXPECT_EQ(metric.loadState("a")->getStateTotalTime(), 250);

    metric.enterStateWithName("b");
    metric.exitStateWithName("a");  // not open, and not the last entered: still clears it
    EXPECT_EQ(metric.lastActiveState(), nullptr);
    EXPECT_EQ(loggerLines(console, "E", "SV", "exit from state that not enter: a"), 1);
    EXPECT_TRUE(metric.isLastActiveState("b"));
    EXPECT_FALSE(metric.isLastActiveState("a"));
    EXPECT_FALSE(metric.isLastActiveState("never"));

    const std::string unknown = "QMIllegalStateException: QMState never does not exists.";
    EXPECT_EQ(thrownBy<QMIllegalStateException>([&] { metric.exitStateWithName("never", 1); }), unknown);
    EXPECT_EQ(thrownBy<QMIllegalStateException>([&] { metric.clearHistory("never"); }), unknown);
    EXPECT_THROW(metric.exitStateWithName("b", now() - 1), QMIllegalTimeStampException);
    EXPECT_TRUE(metric.isLastActiveState("b"));
}

}  // namespace veyrakit
