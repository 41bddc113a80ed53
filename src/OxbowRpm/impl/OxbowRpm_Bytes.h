#ifndef OXBOW_OXBOW_RPM_BYTES_H
#define OXBOW_OXBOW_RPM_BYTES_H

#include <cstdint>

/** Numbers in stored form: little-endian, without alignment. The order is made by shifts, so that
   the host's own order can't matter; compilers turn them into plain moves. */

inline void OxbowRpm_StoreU32(char* place, std::uint32_t value) {
    for (int i = 0; i < 4; ++i) {
        place[i] = static_cast<char>(static_cast<unsigned char>(value >> (8 * i)));
    }
}

inline std::uint32_t OxbowRpm_LoadU32(const char* place) {
    std::uint32_t value = 0;
    for (int i = 0; i < 4; ++i) {
        value |= static_cast<std::uint32_t>(static_cast<unsigned char>(place[i])) << (8 * i);
    }
    return value;
}

inline void OxbowRpm_StoreU64(char* place, std::uint64_t value) {
    OxbowRpm_StoreU32(place, static_cast<std::uint32_t>(value));
    OxbowRpm_StoreU32(place + 4, static_cast<std::uint32_t>(value >> 32));
}

inline std::uint64_t OxbowRpm_LoadU64(const char* place) {
    return OxbowRpm_LoadU32(place) | static_cast<std::uint64_t>(OxbowRpm_LoadU32(place + 4)) << 32;
}

#endif
