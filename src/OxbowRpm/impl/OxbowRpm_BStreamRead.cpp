#include <OxbowPoolManager/OxbowExceptions.h>
#include <OxbowPoolManager/OxbowRpm_BStreamRead.h>

#include <algorithm>
#include <cstring>

#include "base/mem_BufferOwner.h"
#include "format/OxbowRpm_StoredForms.h"

namespace {

/** Reads a string's length; one that no writer makes must not become the size of anything. */
std::uint32_t ReadLength(OxbowRpm_BStreamRead& stream) {
    std::int32_t length = 0;
    stream.Read(length);
    if (length < 0) {
        OxbowExcValidationFailure().Throw(__FILE__, __LINE__);
    }
    return static_cast<std::uint32_t>(length);
}

/** The most that is taken on the word of a stored length alone. */
constexpr std::uint32_t kPiece = 0x100000;

/** Zeroed: where a stream comes back short, the buffer holds zeros and never what stood in that
    memory before. */
void* NewBuffer(std::uint32_t room) {
    return mem_OperatorNewZeroedThrowBuiltin(std::size_t{room} + 1);
}

/** Reads past what a text doesn't need. */
void Skip(OxbowRpm_BStreamRead& stream, std::uint32_t count) {
    const mem_BufferOwner scratch(NewBuffer(std::min(count, kPiece)));
    for (std::uint32_t part = 0; count != 0; count -= part) {
        part = std::min(count, kPiece);
        stream.ReadBlock(scratch.Bytes(), part);
    }
}

/** A string's body in a buffer of its own. The length comes from a file and may be far too large,
    so a long body is read in pieces, and its buffer grows only while they are full of text: a zero
    byte ends the text, as does the end of the file. */
class StringBody {
public:
    explicit StringBody(OxbowRpm_BStreamRead& stream)
        : mLength(ReadLength(stream)),
          mRoom(std::min(OxbowRpm_StoredString::PaddedLength(mLength), kPiece)),
          mBuffer(NewBuffer(mRoom)) {
        stream.ReadBlock(mBuffer.Bytes(), mRoom);
        while (mRoom < mLength && !HasEnd()) {
            Grow(stream);
        }
        if (mRoom < mLength) {
            Skip(stream, OxbowRpm_StoredString::PaddedLength(mLength) - mRoom);
        }
        mBuffer.Bytes()[std::min(mLength, mRoom)] = '\0';
    }

    const char* Text() const { return mBuffer.Bytes(); }

private:
    bool HasEnd() const { return std::memchr(mBuffer.Bytes(), 0, mRoom) != nullptr; }

    void Grow(OxbowRpm_BStreamRead& stream) {
        const std::uint32_t more =
            std::min(OxbowRpm_StoredString::PaddedLength(mLength) - mRoom, mRoom);
        mem_BufferOwner larger(NewBuffer(mRoom + more));
        std::memcpy(larger.Bytes(), mBuffer.Bytes(), mRoom);
        stream.ReadBlock(larger.Bytes() + mRoom, more);
        mBuffer.Swap(larger);
        mRoom += more;
    }

    const std::uint32_t mLength;
    std::uint32_t mRoom;
    mem_BufferOwner mBuffer;
};

}  // namespace

OxbowRpm_BStreamRead::~OxbowRpm_BStreamRead() = default;

void OxbowRpm_BStreamRead::Read(FennelString& value) {
    value = StringBody(*this).Text();
}

void OxbowRpm_BStreamRead::Read(FennelUnicodeString& value) {
    value = FennelUnicodeString::BuildFromChar(StringBody(*this).Text());
}

void OxbowRpm_BStreamRead::Read(std::int32_t& value) {
    value = static_cast<std::int32_t>(OxbowRpm_LoadU32(PrepRead(4)));
}

void OxbowRpm_BStreamRead::Read(std::uint32_t& value) {
    value = OxbowRpm_LoadU32(PrepRead(4));
}
