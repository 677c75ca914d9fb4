#include "veyrakit/platform/avfoundation/CMTime.h"

#include <cmath>
#include <limits>

namespace veyrakit {

CMTime CMTimeMake(CMTimeValue value, CMTimeScale timescale) {
    if (timescale <= 0) {
        return kCMTimeInvalid;
    }
    return CMTime{value, timescale, kCMTimeFlags_Valid, 0};
}

CMTime CMTimeMakeWithSeconds(double seconds, int32_t preferredTimescale) {
    if (std::isnan(seconds) || preferredTimescale <= 0) {
        return kCMTimeInvalid;
    }
    if (std::isinf(seconds)) {
        return seconds > 0 ? kCMTimePositiveInfinity : kCMTimeNegativeInfinity;
    }
    // The largest double below 2^63, so that the conversion below cannot overflow.
    constexpr double limit = 9223372036854774784.0;
    CMTimeScale timescale = preferredTimescale;
    while (std::fabs(seconds * timescale) > limit && timescale > 1) {
        timescale /= 2;
    }
    const double scaled = seconds * timescale;
    if (std::fabs(scaled) > limit) {
        return seconds > 0 ? kCMTimePositiveInfinity : kCMTimeNegativeInfinity;
    }
    // Half away from zero, the platform's default rounding.
    const double rounded = std::round(scaled);
    CMTime time{static_cast<CMTimeValue>(rounded), timescale, kCMTimeFlags_Valid, 0};
    if (rounded != scaled || timescale != preferredTimescale) {
        time.flags |= kCMTimeFlags_HasBeenRounded;
    }
    return time;
}

double CMTimeGetSeconds(CMTime time) {
    if (CMTIME_IS_INVALID(time) || CMTIME_IS_INDEFINITE(time)) {
        return std::numeric_limits<double>::quiet_NaN();
    }
    if (CMTIME_IS_POSITIVE_INFINITY(time)) {
        return std::numeric_limits<double>::infinity();
    }
    if (CMTIME_IS_NEGATIVE_INFINITY(time)) {
        return -std::numeric_limits<double>::infinity();
    }
    if (time.timescale <= 0) {
        return std::numeric_limits<double>::quiet_NaN();
    }
    return static_cast<double>(time.value) / static_cast<double>(time.timescale);
}

namespace {

__extension__ typedef __int128 QMWideProduct;

// Rank of a time's kind in the platform's ordering; numeric times share rank 1.
int kindRank(const CMTime& time) {
    if (CMTIME_IS_INVALID(time)) {
        return 4;
    }
    if (CMTIME_IS_INDEFINITE(time)) {
        return 3;
    }
    if (CMTIME_IS_POSITIVE_INFINITY(time)) {
        return 2;
    }
    if (CMTIME_IS_NEGATIVE_INFINITY(time)) {
        return 0;
    }
    return 1;
}

}  // namespace

int32_t CMTimeCompare(CMTime time1, CMTime time2) {
    const int rank1 = kindRank(time1);
    const int rank2 = kindRank(time2);
    if (rank1 != rank2) {
        return rank1 < rank2 ? -1 : 1;
    }
    if (rank1 != 1) {
        return 0;
    }
    if (time1.epoch != time2.epoch) {
        return time1.epoch < time2.epoch ? -1 : 1;
    }
    // Cross-multiplied in 128 bits, so that different timescales compare exactly.
    const QMWideProduct left = static_cast<QMWideProduct>(time1.value) * time2.timescale;
    const QMWideProduct right = static_cast<QMWideProduct>(time2.value) * time1.timescale;
    return left < right ? -1 : (left > right ? 1 : 0);
}

}  // namespace veyrakit
