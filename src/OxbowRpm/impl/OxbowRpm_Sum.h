#ifndef OXBOW_OXBOW_RPM_SUM_H
#define OXBOW_OXBOW_RPM_SUM_H

#include <cstdint>

/** The sum, or 2^64 - 1 where it would pass that. Every test of a range against a limit adds this
    way, so that a size from a caller or a file can't wrap past the test. */
inline std::uint64_t OxbowRpm_SaturatedSum(std::uint64_t a, std::uint64_t b) {
    return a > UINT64_MAX - b ? UINT64_MAX : a + b;
}

#endif
