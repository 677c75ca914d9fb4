#include <gtest/gtest.h>

#include "soak/QMSoakRun.h"

namespace veyrakit {

namespace {

// Two simulated hours of one player kind against the faulty server: every report consistent,
// nothing left behind after any playback. Timings and the heap are printed, not asserted.
QMSoakRun::Result soak(QMSoakRun::Players players) {
    const auto result =
        QMSoakRun({.hours = 2, .players = players, .seed = 7, .scenarioDir = VEYRAKIT_SCENARIO_DIR}).run();
    for (const auto& hour : result.hours) {
        std::printf("hour %d: %lld playbacks, heap %lld bytes, callbacks max %lld us, p99 %lld us\n",
                    hour.hour, static_cast<long long>(hour.playbacks), static_cast<long long>(hour.heapBytes),
                    static_cast<long long>(hour.maxMicros), static_cast<long long>(hour.p99Micros));
    }
    return result;
}

void expectConsistent(const QMSoakRun::Result& result, int64_t minimumPlaybacks) {
    ASSERT_EQ(result.hours.size(), 2u);
    EXPECT_GE(result.playbacks, minimumPlaybacks);
    EXPECT_EQ(result.violations, std::vector<std::string>{});
    EXPECT_EQ(result.playbacksWithLeftovers, 0) << result.firstLeftovers;
    // The server did throttle, skip and fail, and the reports went on regardless.
    EXPECT_GT(result.faults.throttles, 0);
    EXPECT_GT(result.faults.skips, 0);
    EXPECT_GT(result.faults.failures, 0);
    EXPECT_GT(result.retransmissions, 0);
    EXPECT_GT(result.reports, result.playbacks * 10);
    EXPECT_GT(result.diagnosticPosts, result.playbacks * 5);
}

}  // namespace

TEST(Soak, TwoHoursOfAVPlayerAgainstAFaultyServerStayConsistent) {
    expectConsistent(soak(QMSoakRun::Players::AVPlayer), 30);
}

TEST(Soak, TwoHoursOfMPMoviePlayerAgainstAFaultyServerStayConsistent) {
    expectConsistent(soak(QMSoakRun::Players::MPMoviePlayer), 60);
}

}  // namespace veyrakit
