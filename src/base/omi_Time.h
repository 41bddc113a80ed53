#ifndef OXBOW_OMI_TIME_H
#define OXBOW_OMI_TIME_H

#include <cstdint>

/** A moment in three 32-bit words: seconds since 1970, low word first, and microseconds. */
struct omi_Time {
    std::uint32_t mSecondsLow;
    std::uint32_t mSecondsHigh;
    std::int32_t mMicroseconds;
};

omi_Time omi_gettimeofday();

#endif
