#include <OxbowPoolManager/OxbowExceptions.h>
#include <OxbowPoolManager/OxbowRpm_BStreamRead.h>

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

/** A string's body in a buffer of its own. The length comes from a file and may be far too large, so
    the buffer is zeroed: it takes address space, and memory only where bytes arrive. Where a stream
    comes back short it holds zeros, never what that memory held before. */
class StringBody {
public:
    explicit StringBody(OxbowRpm_BStreamRead& stream)
        : mLength(ReadLength(stream)),
          mBuffer(mem_OperatorNewZeroedThrowBuiltin(std::size_t{Padded()} + 1)) {
        stream.ReadBlock(mBuffer.Bytes(), Padded());
        mBuffer.Bytes()[mLength] = '\0';
    }

    const char* Text() const { return mBuffer.Bytes(); }

private:
    std::uint32_t Padded() const { return OxbowRpm_StoredString::PaddedLength(mLength); }

    const std::uint32_t mLength;
    const mem_BufferOwner mBuffer;
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
