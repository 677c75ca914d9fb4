#pragma once
#include <cstdint>

#include "veyrakit/platform/QMExport.h"

namespace veyrakit {

// A rational media time, as CoreMedia keeps it: value / timescale seconds, with flags telling
// whether the time is valid, rounded, infinite or indefinite, and an epoch that tells apart
// loops of the same timeline. It is a plain value, copied like the platform's struct.
using CMTimeValue = int64_t;
using CMTimeScale = int32_t;
using CMTimeEpoch = int64_t;
using CMTimeFlags = uint32_t;

enum : CMTimeFlags {
    kCMTimeFlags_Valid = 1u << 0,
    kCMTimeFlags_HasBeenRounded = 1u << 1,
    kCMTimeFlags_PositiveInfinity = 1u << 2,
    kCMTimeFlags_NegativeInfinity = 1u << 3,
    kCMTimeFlags_Indefinite = 1u << 4,
    kCMTimeFlags_ImpliedValueFlagsMask =
        kCMTimeFlags_PositiveInfinity | kCMTimeFlags_NegativeInfinity | kCMTimeFlags_Indefinite,
};

inline constexpr CMTimeScale kCMTimeMaxTimescale = 1000000000;

struct CMTime {
    CMTimeValue value;
    CMTimeScale timescale;
    CMTimeFlags flags;
    CMTimeEpoch epoch;
};

// All zero: the invalid time (its seconds are NaN).
inline constexpr CMTime kCMTimeInvalid{0, 0, 0, 0};
inline constexpr CMTime kCMTimeZero{0, 1, kCMTimeFlags_Valid, 0};
inline constexpr CMTime kCMTimeIndefinite{0, 0, kCMTimeFlags_Valid | kCMTimeFlags_Indefinite, 0};
inline constexpr CMTime kCMTimePositiveInfinity{0, 0, kCMTimeFlags_Valid | kCMTimeFlags_PositiveInfinity, 0};
inline constexpr CMTime kCMTimeNegativeInfinity{0, 0, kCMTimeFlags_Valid | kCMTimeFlags_NegativeInfinity, 0};

inline constexpr bool CMTIME_IS_VALID(const CMTime& time) { return (time.flags & kCMTimeFlags_Valid) != 0; }
inline constexpr bool CMTIME_IS_INVALID(const CMTime& time) { return !CMTIME_IS_VALID(time); }
inline constexpr bool CMTIME_IS_INDEFINITE(const CMTime& time) {
    return CMTIME_IS_VALID(time) && (time.flags & kCMTimeFlags_Indefinite) != 0;
}
inline constexpr bool CMTIME_IS_POSITIVE_INFINITY(const CMTime& time) {
    return CMTIME_IS_VALID(time) && (time.flags & kCMTimeFlags_PositiveInfinity) != 0;
}
inline constexpr bool CMTIME_IS_NEGATIVE_INFINITY(const CMTime& time) {
    return CMTIME_IS_VALID(time) && (time.flags & kCMTimeFlags_NegativeInfinity) != 0;
}
// A valid time that is neither infinite nor indefinite.
inline constexpr bool CMTIME_IS_NUMERIC(const CMTime& time) {
    return (time.flags & (kCMTimeFlags_Valid | kCMTimeFlags_ImpliedValueFlagsMask)) == kCMTimeFlags_Valid;
}

VEYRAKIT_EXPORT CMTime CMTimeMake(CMTimeValue value, CMTimeScale timescale);
// Rounds to the nearest value of `preferredTimescale` (halving the timescale when the value
// would overflow) and marks the result rounded when it is not exact. NaN gives the invalid
// time, infinities the infinite times.
VEYRAKIT_EXPORT CMTime CMTimeMakeWithSeconds(double seconds, int32_t preferredTimescale);
// NaN for an invalid or indefinite time, +/- infinity for the infinite ones.
VEYRAKIT_EXPORT double CMTimeGetSeconds(CMTime time);
// -1, 0 or 1 with the platform's ordering: negative infinity < numeric times < positive
// infinity < indefinite < invalid; equal non-numeric kinds compare equal.
VEYRAKIT_EXPORT int32_t CMTimeCompare(CMTime time1, CMTime time2);

}  // namespace veyrakit
