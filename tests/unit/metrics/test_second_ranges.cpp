#include <gtest/gtest.h>

#include <climits>

#include "metrics/QMSecondRanges.h"

namespace veyrakit {

TEST(QMSecondRanges, CountsDistinctSecondsWhateverTheOrderTheyArriveIn) {
    QMSecondRanges seconds;
    EXPECT_TRUE(seconds.empty());
    // Runs grow at either end, and a second that closes a gap joins two runs into one.
    for (int32_t second : {5, 7, 6, 4, 9, 8, 3}) {
        EXPECT_TRUE(seconds.insert(second)) << second;
    }
    for (int32_t second : {3, 6, 9}) {
        EXPECT_FALSE(seconds.insert(second)) << second;
    }
    EXPECT_EQ(seconds.size(), 7u);
    EXPECT_EQ(seconds, (QMSecondRanges{3, 4, 5, 6, 7, 8, 9}));
    EXPECT_FALSE(seconds.contains(2));
    EXPECT_FALSE(seconds.contains(10));

    // A seek back, a jump ahead and the extremes of 32-bit seconds stay apart.
    for (int32_t second : {-1, 0, 20, INT_MAX, INT_MIN, INT_MAX - 1}) {
        EXPECT_TRUE(seconds.insert(second)) << second;
    }
    EXPECT_EQ(seconds.size(), 13u);
    EXPECT_TRUE(seconds.contains(0));
    EXPECT_FALSE(seconds.contains(1));
    EXPECT_FALSE(seconds.contains(19));
    EXPECT_TRUE(seconds.contains(INT_MIN));
    EXPECT_FALSE(seconds.contains(INT_MIN + 1));
    EXPECT_FALSE(seconds.insert(INT_MAX));
    EXPECT_NE(seconds, (QMSecondRanges{3, 4, 5, 6, 7, 8, 9}));

    seconds.clear();
    EXPECT_EQ(seconds.size(), 0u);
    EXPECT_EQ(seconds, QMSecondRanges{});
    EXPECT_TRUE(seconds.insert(4));
    EXPECT_EQ(seconds.size(), 1u);
}

}  // namespace veyrakit
