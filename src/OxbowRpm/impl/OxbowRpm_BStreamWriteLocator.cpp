#include <OxbowPoolManager/OxbowExceptions.h>
#include <OxbowPoolManager/OxbowRpm_BStreamWriteLocator.h>
#include <OxbowPoolManager/base/OxbowRpm_Assert.h>

#include <algorithm>
#include <cstring>
#include <exception>

#include "OxbowRpm/impl/OxbowRpm_StreamLimits.h"
#include "OxbowRpm/impl/OxbowRpm_Sum.h"
#include "base/mem_BufferOwner.h"

OxbowRpm_BStreamWriteLocator::OxbowRpm_BStreamWriteLocator(const OxbowRpm_Locator& start,
                                                           const std::uint64_t& limit,
                                                           std::uint64_t bufferSize)
    : mLocator(start),
      mLimit(limit),
      mBufferSize(std::max(bufferSize, kOxbowRpm_LeastStreamBuffer)),
      mPosition(0),
      mUsed(0),
      mBuffer(nullptr),
      mExceptionsBefore(std::uncaught_exceptions()) {}

OxbowRpm_BStreamWriteLocator::~OxbowRpm_BStreamWriteLocator() noexcept(false) {
    const mem_BufferOwner owner(mBuffer);
    if (std::uncaught_exceptions() <= mExceptionsBefore) {
        FlushBuffer();
        return;
    }
    // Two exceptions at once would end the process. The one on its way is what the caller has to
    // hear of.
    try {
        FlushBuffer();
    } catch (...) {
    }
}

void OxbowRpm_BStreamWriteLocator::FlushBuffer() {
    if (mBuffer != nullptr && mUsed != 0) {
        (mLocator + mPosition).Write(mUsed, mBuffer);
    }
    mPosition += mUsed;
    mUsed = 0;
}

char* OxbowRpm_BStreamWriteLocator::PrepWrite(std::uint64_t requestedLength) {
    OxbowASSERT(requestedLength > 0);
    if (mBuffer == nullptr) {
        // Zeroed, so that bytes which a caller reserves and doesn't fill store nothing of this
        // memory's past.
        mBuffer = static_cast<char*>(
            mem_OperatorNewZeroedThrowBuiltin(OxbowRpm_StreamBufferBytes(mBufferSize)));
        mUsed = 0;
    }
    if (OxbowRpm_SaturatedSum(mUsed, requestedLength) > mBufferSize) {
        FlushBuffer();
    }
    CheckLimit(requestedLength);
    if (OxbowRpm_SaturatedSum(mUsed, requestedLength) > mBufferSize) {
        OxbowExcRequestTooBig(static_cast<unsigned int>(requestedLength),
                              static_cast<unsigned int>(mBufferSize))
            .Throw(__FILE__, __LINE__);
    }
    char* const place = mBuffer + mUsed;
    mUsed += requestedLength;
    return place;
}

void OxbowRpm_BStreamWriteLocator::CheckLimit(std::uint64_t length) const {
    OxbowRpm_CheckStreamLimit(mPosition + mUsed, length, mLimit);
}

void OxbowRpm_BStreamWriteLocator::WriteBlock(const void* source, std::uint32_t length) {
    if (length == 0) {
        return;
    }
    CheckLimit(length);
    if (OxbowRpm_SaturatedSum(mUsed, length) <= mBufferSize) {
        std::memcpy(PrepWrite(length), source, length);
        return;
    }
    FlushBuffer();
    (mLocator + mPosition).Write(length, static_cast<const char*>(source));
    mPosition += length;
}

const OxbowRpm_PoolDirectoryImpl& OxbowRpm_BStreamWriteLocator::SourceDir() const {
    return *mLocator.Directory().Get();
}
