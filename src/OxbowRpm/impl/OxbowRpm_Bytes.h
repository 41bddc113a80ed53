#ifndef OXBOW_OXBOW_RPM_BYTES_H
#define OXBOW_OXBOW_RPM_BYTES_H

#include <OxbowPoolManager/base/Oxbow_Bytes.h>

#include <cstdint>

/** The two widths that stand in files, by name: a wrong width would still compile. */

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

#endif
