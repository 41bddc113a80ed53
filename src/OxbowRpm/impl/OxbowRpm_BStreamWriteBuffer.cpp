#include <OxbowPoolManager/OxbowExceptions.h>
#include <OxbowPoolManager/OxbowRpm_BStreamWriteBuffer.h>
#include <OxbowPoolManager/OxbowRpm_Pool.h>
#include <OxbowPoolManager/OxbowRpm_PoolDirectory.h>
#include <OxbowPoolManager/base/OxbowRpm_Assert.h>

#include <cstring>

OxbowRpm_BStreamWriteBuffer::OxbowRpm_BStreamWriteBuffer(char* buffer, std::uint64_t length)
    : mBuffer(buffer), mLength(length), mPosition(0) {}

OxbowRpm_BStreamWriteBuffer::OxbowRpm_BStreamWriteBuffer(char* buffer, std::uint64_t length,
                                                         const OxbowRpm_PoolDirectory& directory)
    : mBuffer(buffer), mLength(length), mPosition(0), mDirectory(directory.mImpl) {}

OxbowRpm_BStreamWriteBuffer::OxbowRpm_BStreamWriteBuffer(char* buffer, std::uint64_t length,
                                                         const OxbowRpm_Pool& pool)
    : OxbowRpm_BStreamWriteBuffer(buffer, length, pool.Directory()) {}

OxbowRpm_BStreamWriteBuffer::~OxbowRpm_BStreamWriteBuffer() = default;

/** The one test that keeps the stream inside the caller's memory. */
char* OxbowRpm_BStreamWriteBuffer::PrepWrite(std::uint64_t requestedLength) {
    OxbowASSERT(requestedLength > 0);
    const std::uint64_t available = mLength - mPosition;
    if (available < requestedLength) {
        OxbowExcShortBuffer(static_cast<unsigned int>(requestedLength),
                            static_cast<unsigned int>(available))
            .Throw(__FILE__, __LINE__);
    }
    char* const place = mBuffer + mPosition;
    mPosition += requestedLength;
    return place;
}

void OxbowRpm_BStreamWriteBuffer::WriteBlock(const void* source, std::uint32_t length) {
    if (length != 0) {
        std::memcpy(PrepWrite(length), source, length);
    }
}

const OxbowRpm_PoolDirectoryImpl& OxbowRpm_BStreamWriteBuffer::SourceDir() const {
    return *mDirectory.Get();
}
