#include <OxbowPoolManager/OxbowExceptions.h>
#include <OxbowPoolManager/OxbowRpm_BStreamReadBuffer.h>
#include <OxbowPoolManager/OxbowRpm_Pool.h>
#include <OxbowPoolManager/OxbowRpm_PoolDirectory.h>
#include <OxbowPoolManager/base/OxbowRpm_Assert.h>

#include <cstring>

OxbowRpm_BStreamReadBuffer::OxbowRpm_BStreamReadBuffer(const char* buffer, std::uint64_t length)
    : mBuffer(buffer), mLength(length), mPosition(0) {}

OxbowRpm_BStreamReadBuffer::OxbowRpm_BStreamReadBuffer(const char* buffer, std::uint64_t length,
                                                       const OxbowRpm_PoolDirectory& directory)
    : mBuffer(buffer), mLength(length), mPosition(0), mDirectory(directory.mImpl) {}

OxbowRpm_BStreamReadBuffer::OxbowRpm_BStreamReadBuffer(const char* buffer, std::uint64_t length,
                                                       const OxbowRpm_Pool& pool)
    : OxbowRpm_BStreamReadBuffer(buffer, length, pool.Directory()) {}

OxbowRpm_BStreamReadBuffer::~OxbowRpm_BStreamReadBuffer() = default;

/** The one test that keeps the stream inside the caller's memory. */
const char* OxbowRpm_BStreamReadBuffer::PrepRead(std::uint64_t requestedLength) {
    OxbowASSERT(requestedLength > 0);
    const std::uint64_t available = mLength - mPosition;
    if (available < requestedLength) {
        OxbowExcShortBuffer(static_cast<unsigned int>(requestedLength),
                            static_cast<unsigned int>(available))
            .Throw(__FILE__, __LINE__);
    }
    const char* const place = mBuffer + mPosition;
    mPosition += requestedLength;
    return place;
}

void OxbowRpm_BStreamReadBuffer::ReadBlock(void* destination, std::uint32_t length) {
    if (length != 0) {
        std::memcpy(destination, PrepRead(length), length);
    }
}

const OxbowRpm_PoolDirectoryImpl& OxbowRpm_BStreamReadBuffer::SourceDir() const {
    return *mDirectory.Get();
}
