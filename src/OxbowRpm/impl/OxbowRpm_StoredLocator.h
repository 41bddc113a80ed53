#ifndef OXBOW_OXBOW_RPM_STORED_LOCATOR_H
#define OXBOW_OXBOW_RPM_STORED_LOCATOR_H

#include <cstdint>

#include "OxbowRpm/impl/OxbowRpm_Bytes.h"

/** The stored form of a locator, 12 bytes: the offset, then the place of the target in the
    directory that belongs to the stored bytes; any negative place means no target. It makes no file
    call. */
struct OxbowRpm_StoredLocator {
    static constexpr std::uint32_t kSize = 12;

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

#endif
