#include <OxbowPoolManager/OxbowExceptions.h>
#include <OxbowPoolManager/OxbowRpm_BStreamReadLocator.h>
#include <OxbowPoolManager/base/OxbowRpm_Assert.h>
#include <OxbowPoolManager/base/mem_Functions.h>

#include <algorithm>
#include <cstring>

#include "OxbowRpm/impl/OxbowRpm_StreamLimits.h"
#include "OxbowRpm/impl/OxbowRpm_Sum.h"

OxbowRpm_BStreamReadLocator::OxbowRpm_BStreamReadLocator(const OxbowRpm_Locator& start,
                                                         const std::uint64_t& limit,
                                                         std::uint64_t bufferSize)
    : mLocator(start),
      mLimit(limit),
      mBufferSize(std::max(bufferSize, kOxbowRpm_LeastStreamBuffer)),
      mPosition(0),
      mCursor(0),
      mValid(0),
      mBuffer(nullptr) {}

OxbowRpm_BStreamReadLocator::~OxbowRpm_BStreamReadLocator() {
    mem_Free(mBuffer);
}

const char* OxbowRpm_BStreamReadLocator::PrepRead(std::uint64_t requestedLength) {
    OxbowASSERT(requestedLength > 0);
    if (mBuffer == nullptr) {
        mBuffer = static_cast<char*>(
            mem_OperatorNewThrowBuiltin(OxbowRpm_StreamBufferBytes(mBufferSize)));
        mValid = 0;
        mCursor = 0;
    }
    if (OxbowRpm_SaturatedSum(mCursor, requestedLength) > mValid) {
        Refill();
    }
    CheckLimit(requestedLength);
    if (OxbowRpm_SaturatedSum(mCursor, requestedLength) > mValid) {
        OxbowExcRequestTooBig(static_cast<unsigned int>(requestedLength),
                              static_cast<unsigned int>(mValid))
            .Throw(__FILE__, __LINE__);
    }
    const char* const place = mBuffer + mCursor;
    mCursor += requestedLength;
    return place;
}

/** Moves what is left to the front and reads behind it as much as there is room for. It may read
   past the limit; what lies there is never given out. */
void OxbowRpm_BStreamReadLocator::Refill() {
    const std::uint64_t remaining = mValid - mCursor;
    if (remaining != 0) {
        std::memmove(mBuffer, mBuffer + mCursor, static_cast<std::size_t>(remaining));
    }
    const std::uint64_t got =
        (mLocator + (mPosition + mValid)).Read(mBufferSize - remaining, mBuffer + remaining);
    mPosition += mCursor;
    mCursor = 0;
    mValid = remaining + got;
}

void OxbowRpm_BStreamReadLocator::CheckLimit(std::uint64_t length) const {
    OxbowRpm_CheckStreamLimit(mPosition + mCursor, length, mLimit);
}

void OxbowRpm_BStreamReadLocator::ReadBlock(void* destination, std::uint32_t length) {
    if (length == 0) {
        return;
    }
    CheckLimit(length);
    if (length <= mBufferSize) {
        std::memcpy(destination, PrepRead(length), length);
    } else {
        ReadPastBuffer(static_cast<char*>(destination), length);
    }
}

/** Copies what the buffer holds and reads the rest straight into the caller's memory. */
void OxbowRpm_BStreamReadLocator::ReadPastBuffer(char* destination, std::uint64_t length) {
    const std::uint64_t remaining = mValid - mCursor;
    if (remaining != 0) {
        std::memcpy(destination, mBuffer + mCursor, static_cast<std::size_t>(remaining));
        destination += remaining;
        length -= remaining;
    }
    mPosition += mValid;
    mCursor = 0;
    mValid = 0;
    if (length != 0) {
        mPosition += (mLocator + mPosition).Read(length, destination);
    }
}

const OxbowRpm_PoolDirectoryImpl& OxbowRpm_BStreamReadLocator::SourceDir() const {
    return *mLocator.Directory().Get();
}
