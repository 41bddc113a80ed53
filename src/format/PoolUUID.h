#ifndef OXBOW_FORMAT_POOL_UUID_H
#define OXBOW_FORMAT_POOL_UUID_H

#include <OxbowPoolManager/base/FennelString.h>

#include <cstring>

/** The lasting name of a pool: 32 bytes without a terminator, compared as they are. One made here
    is 32 lowercase hexadecimal characters; one read from a file may hold anything. */
struct PoolUUID {
    static constexpr int kSize = 32;

    bool operator==(const PoolUUID& other) const {
        return std::memcmp(mText, other.mText, kSize) == 0;
    }

    /** As text; it ends at a zero byte, which only a foreign UUID can hold. */
    FennelString AsText() const {
        char text[kSize + 1];
        std::memcpy(text, mText, kSize);
        text[kSize] = '\0';
        return FennelString(text);
    }

    char mText[kSize];
};

static_assert(sizeof(PoolUUID) == 32, "an array of UUIDs is a stored directory");

#endif
