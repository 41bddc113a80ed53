#ifndef OXBOW_OXBOW_RPM_STREAM_LIMITS_H
#define OXBOW_OXBOW_RPM_STREAM_LIMITS_H

#include <OxbowPoolManager/OxbowExceptions.h>

#include <cstddef>
#include <cstdint>
#include <new>

#include "OxbowRpm/impl/OxbowRpm_Sum.h"

/** A locator's stored form and a scalar fit into the smallest buffer together. */
constexpr std::uint64_t kOxbowRpm_LeastStreamBuffer = 16;

/** A stream that has carried `done` bytes may carry `length` more, unless that passes a limit,
    which 0 is not. Raises OxbowExcShortBuffer. */
inline void OxbowRpm_CheckStreamLimit(std::uint64_t done, std::uint64_t length,
                                      std::uint64_t limit) {
    if (limit != 0 && OxbowRpm_SaturatedSum(done, length) > limit) {
        OxbowExcShortBuffer(static_cast<unsigned int>(done + length),
                            static_cast<unsigned int>(limit))
            .Throw(__FILE__, __LINE__);
    }
}

/** The size of a stream's buffer as the allocator takes it. Raises std::bad_alloc if it doesn't
    fit. */
inline std::size_t OxbowRpm_StreamBufferBytes(std::uint64_t size) {
    if (size > SIZE_MAX) {
        throw std::bad_alloc();
    }
    return static_cast<std::size_t>(size);
}

#endif
