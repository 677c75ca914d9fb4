#include <gtest/gtest.h>

#include "veyrakit/platform/QMDate.h"
#include "veyrakit/platform/QMRunLoop.h"

namespace veyrakit {

namespace {
const std::string kWireFormat = "yyyy-MM-dd'T'HH:mm:ss.SSS'Z'";
}

TEST(DateFormat, WireFormatInUtcWithTruncatedMilliseconds) {
    EXPECT_EQ(QMDate(0).formatUTC(kWireFormat), "1970-01-01T00:00:00.000Z");
    // The fraction is cut, not rounded, and survives the double's representation.
    EXPECT_EQ(QMDate(1700000000.123).formatUTC(kWireFormat), "2023-11-14T22:13:20.123Z");
    EXPECT_EQ(QMDate(1700000000.9999).formatUTC(kWireFormat), "2023-11-14T22:13:20.999Z");
    EXPECT_EQ(QMDate(1709164800.5).formatUTC(kWireFormat), "2024-02-29T00:00:00.500Z");
    // Before the epoch the fraction still counts forward within its second.
    EXPECT_EQ(QMDate(-0.25).formatUTC(kWireFormat), "1969-12-31T23:59:59.750Z");
}

TEST(DateFormat, OtherPatternLettersAndLiterals) {
    const QMDate date(1700000000.123456);
    EXPECT_EQ(date.formatUTC("yy/M/d h:mm a EEE MMM SSSSSS"), "23/11/14 10:13 PM Tue Nov 123456");
    EXPECT_EQ(date.formatUTC("EEEE, MMMM dd 'o''clock' '' Z ZZZZZ z"),
              "Tuesday, November 14 o'clock ' +0000 Z UTC");
}

TEST(DateFormat, DescriptionAndFactories) {
    EXPECT_EQ(QMDate(1700000000.75).description(), "2023-11-14 22:13:20 +0000");
    EXPECT_EQ(QMDate::dateWithTimeIntervalSince1970(1.5)->timeIntervalSince1970(), 1.5);
}

TEST(DateFormat, NowFollowsTheMainLoopsVirtualClock) {
    auto loop = std::make_shared<QMVirtualRunLoop>(1'700'000'000'123);
    QMRunLoop::setMainRunLoop(loop);
    EXPECT_EQ(QMDate::date()->formatUTC(kWireFormat), "2023-11-14T22:13:20.123Z");
    loop->advanceBy(1'877);
    EXPECT_EQ(QMDate::date()->formatUTC(kWireFormat), "2023-11-14T22:13:22.000Z");
    QMRunLoop::setMainRunLoop(nullptr);
}

}  // namespace veyrakit
