#include <gtest/gtest.h>

#include <cstdint>

#include "platform/QMFormat.h"

namespace veyrakit {

namespace {

class Described : public QMObject {
  public:
    std::string description() const override { return "Error Domain=NSURLErrorDomain Code=-1001"; }
};

}  // namespace

TEST(Format, SystemFormatStringsStandVerbatim) {
    const int64_t end = 1'700'000'000'123;
    EXPECT_EQ(QMFormat("%@/player/report", std::string("https://collector.invalid")),
              "https://collector.invalid/player/report");
    EXPECT_EQ(QMFormat("End timestamp is sooner that start timestamp. [%lld] < [%lld]", end, int64_t{0}),
              "End timestamp is sooner that start timestamp. [1700000000123] < [0]");
    EXPECT_EQ(QMFormat("Reporter received non-200 response code:%d", 503),
              "Reporter received non-200 response code:503");
    EXPECT_EQ(QMFormat("Status code: %i", 200), "Status code: 200");
    EXPECT_EQ(QMFormat("Error log status code: %ld\n", -1L), "Error log status code: -1\n");
    EXPECT_EQ(QMFormat("Access log number of bytes transfered: %lli\n", int64_t{5'000'000'000}),
              "Access log number of bytes transfered: 5000000000\n");
    EXPECT_EQ(QMFormat("Access log indicated bitrate: %f\n", 1280000.0),
              "Access log indicated bitrate: 1280000.000000\n");
    EXPECT_EQ(QMFormat("Natural size changed: %.2fx%.2f\n", 640.0, 360.5),
              "Natural size changed: 640.00x360.50\n");
    EXPECT_EQ(
        QMFormat("%lu %llu %u %x %X %g %s %.3s|%s %%", 7UL, 8ULL, 9u, 255, 255, 0.5, "c", "abcdef", nullptr),
        "7 8 9 ff FF 0.5 c abc|(null) %");
    EXPECT_EQ(
        QMFormat("[%5d|%-5d|%05.1f|%+d|%8@|%-4@]", 42, 42, 3.14159, 7, std::string("abc"), std::string("x")),
        "[   42|42   |003.1|+7|     abc|x   ]");
}

TEST(Format, ObjectConversionPrintsEachKindAsThePlatformDoes) {
    auto error = std::make_shared<Described>();
    std::shared_ptr<Described> none;
    std::optional<std::string> absentSession;
    EXPECT_EQ(QMFormat("%@|%@|%@|%@|%@", std::string("S-1"), 42, 2.0, 0.25, true), "S-1|42|2|0.25|1");
    EXPECT_EQ(QMFormat("%@ %@ %@", absentSession, nullptr, none), "(null) (null) (null)");
    EXPECT_EQ(QMFormat("Error: %@", error), "Error: Error Domain=NSURLErrorDomain Code=-1001");
    EXPECT_EQ(QMFormat("%@", QMJSON::array({1, 2})), "(\n    1,\n    2\n)");
    EXPECT_EQ(QMFormat("Exception: %@", QMIllegalStateException("bad state")), "Exception: bad state");
}

TEST(Format, IntegersAreCutToTheLengthModifiersSize) {
    EXPECT_EQ(QMFormat("%d", int64_t{1} << 32 | 5), "5");
    EXPECT_EQ(QMFormat("%u", -1), "4294967295");
    EXPECT_EQ(QMFormat("%lld", uint64_t{1} << 63), "-9223372036854775808");
    EXPECT_EQ(QMFormat("%llu", uint64_t{1} << 63), "9223372036854775808");
    EXPECT_EQ(QMFormat("%d", false), "0");
}

TEST(Format, MismatchedMissingOrSurplusArgumentsThrow) {
    EXPECT_THROW(QMFormat("%d", std::string("5")), QMInvalidArgumentException);
    EXPECT_THROW(QMFormat("%f", 5), QMInvalidArgumentException);  // an int is not promoted
    EXPECT_THROW(QMFormat("%lld", 1.5), QMInvalidArgumentException);
    EXPECT_THROW(QMFormat("%s", 3), QMInvalidArgumentException);
    EXPECT_THROW(QMFormat("%@ and %@", std::string("one")), QMInvalidArgumentException);
    EXPECT_THROW(QMFormat("no conversions", 1), QMInvalidArgumentException);
    EXPECT_THROW(QMFormat("trailing %"), QMInvalidArgumentException);
    EXPECT_THROW(QMFormat("%k", 1), QMInvalidArgumentException);
    EXPECT_EQ(QMFormat("100%% done"), "100% done");
}

TEST(Format, LongOutputIsNotTruncated) {
    EXPECT_EQ(QMFormat("<%@>", std::string(500, 'z')), "<" + std::string(500, 'z') + ">");
    EXPECT_EQ(QMFormat("%f", 1e300).size(), 308u);
}

}  // namespace veyrakit
