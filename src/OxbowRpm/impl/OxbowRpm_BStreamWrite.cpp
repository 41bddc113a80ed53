#include <OxbowPoolManager/OxbowExceptions.h>
#include <OxbowPoolManager/OxbowRpm_BStreamWrite.h>

#include <cstring>

#include "base/mem_BufferOwner.h"
#include "format/OxbowRpm_StoredForms.h"

namespace {

void WriteText(OxbowRpm_BStreamWrite& stream, std::string_view text) {
    if (text.size() > OxbowRpm_StoredString::kMaxLength) {
        OxbowExcValidationFailure().Throw(__FILE__, __LINE__);
    }
    const auto length = static_cast<std::uint32_t>(text.size());
    const std::uint32_t padded = OxbowRpm_StoredString::PaddedLength(length);
    // The memory comes first, so that its failure leaves the stream as it was.
    const mem_BufferOwner buffer(mem_OperatorNewThrowBuiltin(padded));
    std::memset(buffer.Bytes(), 0, padded);
    std::memcpy(buffer.Bytes(), text.data(), length);
    stream.Write(length);
    stream.WriteBlock(buffer.Bytes(), padded);
}

}  // namespace

OxbowRpm_BStreamWrite::~OxbowRpm_BStreamWrite() noexcept(false) = default;

void OxbowRpm_BStreamWrite::Write(const FennelString& value) {
    WriteText(*this, value.View());
}

void OxbowRpm_BStreamWrite::Write(const FennelUnicodeString& value) {
    WriteText(*this, std::string_view(value.ConvertToChar(), value.GetLengthInByte()));
}

void OxbowRpm_BStreamWrite::Write(const char* value) {
    Write(FennelString(value));
}

void OxbowRpm_BStreamWrite::Write(const std::int32_t& value) {
    OxbowRpm_StoreU32(PrepWrite(4), static_cast<std::uint32_t>(value));
}

void OxbowRpm_BStreamWrite::Write(const std::uint32_t& value) {
    OxbowRpm_StoreU32(PrepWrite(4), value);
}
