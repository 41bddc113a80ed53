#ifndef OXBOW_FORMAT_STORED_FORMS_H
#define OXBOW_FORMAT_STORED_FORMS_H

#include <OxbowPoolManager/base/Oxbow_Bytes.h>

#include <cstdint>

/** \file
    The stored forms of numbers, locators and strings. Nothing here makes a file call, so
    that a program which reads files by other means can use them. */

// The two widths that files hold, by name: a wrong width would still compile.

inline void OxbowRpm_StoreU32(char* place, std::uint32_t value) {
    Oxbow_StoreBytes(place, value);
}

inline std::uint32_t OxbowRpm_LoadU32(const char* place) {
    return Oxbow_LoadBytes<std::uint32_t>(place);
}

inline void OxbowRpm_StoreU64(char* place, std::uint64_t value) {
    Oxbow_StoreBytes(place, value);
}

inline std::uint64_t OxbowRpm_LoadU64(const char* place) {
    return Oxbow_LoadBytes<std::uint64_t>(place);
}

/** A stored locator, 12 bytes: the offset, then the index of the target in the directory of the
    pool that holds the bytes. A negative index means no target. */
struct OxbowRpm_StoredLocator {
    static constexpr std::uint32_t kSize = 12;
    static constexpr std::int32_t kNoTarget = -1;

    static OxbowRpm_StoredLocator Decode(const char* bytes) {
        return {OxbowRpm_LoadU64(bytes), static_cast<std::int32_t>(OxbowRpm_LoadU32(bytes + 8))};
    }
    void Encode(char* bytes) const {
        OxbowRpm_StoreU64(bytes, mOffset);
        OxbowRpm_StoreU32(bytes + 8, static_cast<std::uint32_t>(mDirSlot));
    }

    std::uint64_t mOffset;
    std::int32_t mDirSlot;
};

/** A stored string: a signed 32-bit length, the bytes, and zeros up to a multiple of 4. */
struct OxbowRpm_StoredString {
    static constexpr std::uint32_t kLengthSize = 4;
    static constexpr std::uint32_t kMaxLength = 0x7FFFFFFF;

    /** Bytes and padding. */
    static constexpr std::uint32_t PaddedLength(std::uint32_t length) {
        return (length + 3) & ~std::uint32_t{3};
    }
};

#endif
