#ifndef OXBOW_FORMAT_HEADER_H
#define OXBOW_FORMAT_HEADER_H

#include <cstdint>
#include <cstring>

#include "format/OxbowRpm_StoredForms.h"

/** The stored form of a pool's header: the one place that knows its bytes. It makes no file call.

    | offset | size | field                                                        |
    |--------|------|--------------------------------------------------------------|
    |      0 |    8 | signature                                                    |
    |      8 |    1 | format version                                               |
    |      9 |    7 | zeros, ignored when read                                     |
    |     16 |    4 | user signature                                               |
    |     20 |   16 | the pool's length, decimal digits; all '0' while it can grow |
    |     36 |    4 | header word 1                                                |
    |     40 |    4 | header word 2                                                |
    |     44 |    4 | count of directory entries of 32 bytes, which follow         |
*/
struct OxbowRpm_Header {
    static constexpr std::uint32_t kSize = 48;
    static constexpr std::uint32_t kEntrySize = 32;
    /** Signature and version, which distinguish a container file from any other. */
    static constexpr std::uint32_t kIdentitySize = 9;
    static constexpr int kVersion = 6;
    /** The longest pool that sixteen digits can express. */
    static constexpr std::uint64_t kMaxLength = 9999999999999999u;

    std::uint32_t mUserSignature;
    /** 0 for a pool that can grow. */
    std::uint64_t mLength;
    std::uint32_t mWord1;
    std::uint32_t mWord2;
    std::uint32_t mCount;

    static bool HasSignature(const char* bytes) {
        return std::memcmp(bytes, kSignature, kVersionAt) == 0;
    }
    /** The version byte, taken as signed. */
    static int Version(const char* bytes) { return static_cast<signed char>(bytes[kVersionAt]); }
    /** Takes the fields behind signature and version, which are tested apart. */
    static OxbowRpm_Header Decode(const char* bytes);
    /** Fills all 48 bytes. */
    void Encode(char* bytes) const;

    /** Writes sixteen digits; a larger value keeps its low ones. */
    static void EncodeLength(char* field, std::uint64_t value);
    /** Adds to `value`, which is 0 on entry. Bytes that aren't digits are not detected. */
    static void DecodeLength(const char* field, std::uint64_t& value);
    /** Makes encoded bytes those of a pool that can grow. */
    static void ClearLength(char* bytes) { EncodeLength(bytes + kLengthAt, 0); }

    /** Where the data begins: behind the header and `count` entries. */
    static std::uint32_t DataOffset(std::uint32_t count) { return kSize + kEntrySize * count; }

private:
    static constexpr unsigned char kSignature[] = {0x89, 'O', 'X', 'B', 0x0D, 0x0A, 0x1A, 0x0A};
    static constexpr std::uint32_t kVersionAt = 8;
    static constexpr std::uint32_t kReservedAt = 9;
    static constexpr std::uint32_t kUserSignatureAt = 16;
    static constexpr std::uint32_t kLengthAt = 20;
    static constexpr std::uint32_t kLengthDigits = 16;
    static constexpr std::uint32_t kWord1At = 36;
    static constexpr std::uint32_t kWord2At = 40;
    static constexpr std::uint32_t kCountAt = 44;

    static_assert(sizeof kSignature == kVersionAt, "the version follows the signature");
    static_assert(kLengthAt + kLengthDigits == kWord1At, "the fields lie end to end");
    static_assert(kCountAt + 4 == kSize, "the count ends the header");
};

inline OxbowRpm_Header OxbowRpm_Header::Decode(const char* bytes) {
    OxbowRpm_Header header;
    // The user signature is a byte string: it keeps the order that it has in memory.
    std::memcpy(&header.mUserSignature, bytes + kUserSignatureAt, sizeof header.mUserSignature);
    header.mLength = 0;
    DecodeLength(bytes + kLengthAt, header.mLength);
    header.mWord1 = OxbowRpm_LoadU32(bytes + kWord1At);
    header.mWord2 = OxbowRpm_LoadU32(bytes + kWord2At);
    header.mCount = OxbowRpm_LoadU32(bytes + kCountAt);
    return header;
}

inline void OxbowRpm_Header::Encode(char* bytes) const {
    std::memcpy(bytes, kSignature, sizeof kSignature);
    bytes[kVersionAt] = static_cast<char>(kVersion);
    std::memset(bytes + kReservedAt, 0, kUserSignatureAt - kReservedAt);
    std::memcpy(bytes + kUserSignatureAt, &mUserSignature, sizeof mUserSignature);
    EncodeLength(bytes + kLengthAt, mLength);
    OxbowRpm_StoreU32(bytes + kWord1At, mWord1);
    OxbowRpm_StoreU32(bytes + kWord2At, mWord2);
    OxbowRpm_StoreU32(bytes + kCountAt, mCount);
}

inline void OxbowRpm_Header::EncodeLength(char* field, std::uint64_t value) {
    for (std::uint32_t i = kLengthDigits; i-- > 0;) {
        field[i] = static_cast<char>('0' + value % 10);
        value /= 10;
    }
}

inline void OxbowRpm_Header::DecodeLength(const char* field, std::uint64_t& value) {
    for (std::uint32_t i = 0; i < kLengthDigits; ++i) {
        const int digit = static_cast<signed char>(field[i]) - '0';
        value = value * 10 + static_cast<std::uint64_t>(static_cast<std::int64_t>(digit));
    }
}

#endif
