#include "OxbowRpm/impl/OxbowRpm_Header.h"

#include <cstring>

#include "OxbowRpm/impl/OxbowRpm_Bytes.h"

namespace {

constexpr unsigned char kSignature[] = {0x89, 'O', 'X', 'B', 0x0D, 0x0A, 0x1A, 0x0A};

constexpr int kVersionAt = 8;
constexpr int kReservedAt = 9;
constexpr int kUserSignatureAt = 16;
constexpr int kLengthAt = 20;
constexpr int kWord1At = 36;
constexpr int kWord2At = 40;
constexpr int kCountAt = 44;

static_assert(sizeof kSignature == OxbowRpm_Header::kSignatureSize, "the signature is 8 bytes");
static_assert(kLengthAt + OxbowRpm_Header::kLengthDigits == kWord1At, "the fields lie end to end");
static_assert(kCountAt + 4 == OxbowRpm_Header::kSize, "the count ends the header");

}  // namespace

bool OxbowRpm_Header::HasSignature(const char* bytes) {
    return std::memcmp(bytes, kSignature, sizeof kSignature) == 0;
}

int OxbowRpm_Header::Version(const char* bytes) {
    return static_cast<signed char>(bytes[kVersionAt]);
}

OxbowRpm_Header OxbowRpm_Header::Decode(const char* bytes) {
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

void OxbowRpm_Header::Encode(char* bytes) const {
    std::memcpy(bytes, kSignature, sizeof kSignature);
    bytes[kVersionAt] = static_cast<char>(kVersion);
    std::memset(bytes + kReservedAt, 0, kUserSignatureAt - kReservedAt);
    std::memcpy(bytes + kUserSignatureAt, &mUserSignature, sizeof mUserSignature);
    EncodeLength(bytes + kLengthAt, mLength);
    OxbowRpm_StoreU32(bytes + kWord1At, mWord1);
    OxbowRpm_StoreU32(bytes + kWord2At, mWord2);
    OxbowRpm_StoreU32(bytes + kCountAt, mCount);
}

void OxbowRpm_Header::EncodeLength(char* field, std::uint64_t value) {
    for (std::uint32_t i = kLengthDigits; i-- > 0;) {
        field[i] = static_cast<char>('0' + value % 10);
        value /= 10;
    }
}

void OxbowRpm_Header::DecodeLength(const char* field, std::uint64_t& value) {
    for (std::uint32_t i = 0; i < kLengthDigits; ++i) {
        const int digit = static_cast<signed char>(field[i]) - '0';
        value = value * 10 + static_cast<std::uint64_t>(static_cast<std::int64_t>(digit));
    }
}
