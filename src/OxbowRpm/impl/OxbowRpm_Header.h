#ifndef OXBOW_OXBOW_RPM_HEADER_H
#define OXBOW_OXBOW_RPM_HEADER_H

#include <cstdint>

/** The stored form of a pool's header: the one place that knows its bytes. It makes no file call.

    | offset | size | field                                                       |
    |--------|------|-------------------------------------------------------------|
    |      0 |    8 | signature                                                   |
    |      8 |    1 | format version                                              |
    |      9 |    7 | zeros, not looked at when read                              |
    |     16 |    4 | user signature                                              |
    |     20 |   16 | the pool's length, decimal digits; all '0' while it can grow |
    |     36 |    4 | header word 1                                               |
    |     40 |    4 | header word 2                                               |
    |     44 |    4 | count of directory entries of 32 bytes, which follow        |
*/
struct OxbowRpm_Header {
    static constexpr std::uint32_t kSize = 48;
    static constexpr std::uint32_t kEntrySize = 32;
    static constexpr std::uint32_t kSignatureSize = 8;
    /** Signature and version: what tells a container file from any other. */
    static constexpr std::uint32_t kIdentitySize = 9;
    static constexpr int kVersion = 6;
    static constexpr std::uint32_t kLengthDigits = 16;
    /** The longest pool that sixteen digits can tell. */
    static constexpr std::uint64_t kMaxLength = 9999999999999999u;
    /** The most entries with which a data offset still fits a signed 32-bit number. */
    static constexpr std::uint32_t kMaxCount = (0x7FFFFFFFu - kSize) / kEntrySize;

    std::uint32_t mUserSignature;
    /** 0 for a pool that can grow. */
    std::uint64_t mLength;
    std::uint32_t mWord1;
    std::uint32_t mWord2;
    std::uint32_t mCount;

    static bool HasSignature(const char* bytes);
    /** The version byte, taken as signed. */
    static int Version(const char* bytes);
    /** Takes the fields behind signature and version, which are tested apart. */
    static OxbowRpm_Header Decode(const char* bytes);
    /** Fills all 48 bytes. */
    void Encode(char* bytes) const;

    static void EncodeLength(char* field, std::uint64_t value);
    /** Adds to `value`, which is 0 on entry. Bytes that are no digits are not found out. */
    static void DecodeLength(const char* field, std::uint64_t& value);

    /** Where the data begins: behind the header and `count` entries. */
    static std::uint32_t DataOffset(std::uint32_t count) { return kSize + kEntrySize * count; }
};

#endif
