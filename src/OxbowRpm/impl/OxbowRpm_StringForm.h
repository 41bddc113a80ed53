#ifndef OXBOW_OXBOW_RPM_STRING_FORM_H
#define OXBOW_OXBOW_RPM_STRING_FORM_H

#include <cstdint>

/** The stored form of a string: a signed 32-bit length, the bytes, and zeros up to a multiple of 4.
*/
constexpr std::uint32_t kOxbowRpm_MaxStringLength = 0x7FFFFFFFu;

/** Bytes and padding. */
constexpr std::uint32_t OxbowRpm_PaddedLength(std::uint32_t length) {
    return (length + 3u) & ~std::uint32_t{3};
}

#endif
