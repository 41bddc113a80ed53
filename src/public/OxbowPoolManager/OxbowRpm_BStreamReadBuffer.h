#ifndef OXBOW_OXBOW_RPM_B_STREAM_READ_BUFFER_H
#define OXBOW_OXBOW_RPM_B_STREAM_READ_BUFFER_H

#include <OxbowPoolManager/OxbowRpm_BStreamRead.h>
#include <OxbowPoolManager/PrivateInterfaces/OxbowRpm_StrongRef.h>

class OxbowRpm_Pool;
class OxbowRpm_PoolDirectory;

/** Reads from a block of the caller's memory, which must outlive the stream. PrepRead points
    straight into it. A stream without a directory carries no locator but the null one: asking it
    for its directory ends the process.
    Threads: one at a time. Allocates nothing.
    Raises: OxbowExcShortBuffer (requested, left) when fewer bytes are left; the stream is as it
    was. */
class OXBOW_EXPORT OxbowRpm_BStreamReadBuffer : public OxbowRpm_BStreamRead {
public:
    OxbowRpm_BStreamReadBuffer(const char* buffer, std::uint64_t length);
    /** Shares the directory. */
    OxbowRpm_BStreamReadBuffer(const char* buffer, std::uint64_t length,
                               const OxbowRpm_PoolDirectory& directory);
    /** Shares the pool's directory. */
    OxbowRpm_BStreamReadBuffer(const char* buffer, std::uint64_t length, const OxbowRpm_Pool& pool);
    ~OxbowRpm_BStreamReadBuffer() override;

    const char* PrepRead(std::uint64_t requestedLength) override;
    void ReadBlock(void* destination, std::uint32_t length) override;
    const OxbowRpm_PoolDirectoryImpl& SourceDir() const override;

private:
    const char* mBuffer;
    std::uint64_t mLength;
    std::uint64_t mPosition;
    OxbowRpm_StrongRef<OxbowRpm_PoolDirectoryImpl> mDirectory;
};

#endif
