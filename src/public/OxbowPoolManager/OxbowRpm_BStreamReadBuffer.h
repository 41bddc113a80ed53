#ifndef OXBOW_OXBOW_RPM_B_STREAM_READ_BUFFER_H
#define OXBOW_OXBOW_RPM_B_STREAM_READ_BUFFER_H

#include <OxbowPoolManager/OxbowRpm_BStreamRead.h>
#include <OxbowPoolManager/PrivateInterfaces/OxbowRpm_StrongRef.h>

class OxbowRpm_Pool;
class OxbowRpm_PoolDirectory;

/** Reads from a block of memory. PrepRead points straight into it. A stream without a directory
    carries no locator but the null one: asking it for its directory ends the process.

    Ownership: the block is the caller's and must outlive the stream; the directory is shared.
    Threads: one at a time; with a directory, those of the document.
    Raises: OxbowExcShortBuffer (requested, left) when fewer bytes are left; the stream is as it
    was. Allocates nothing, but for a string's text.
    Units: bytes. */
class OXBOW_EXPORT OxbowRpm_BStreamReadBuffer : public OxbowRpm_BStreamRead {
public:
    /** For bytes without references. Raises nothing. */
    OxbowRpm_BStreamReadBuffer(const char* buffer, std::uint64_t length);
    /** For references that count in `directory`. Raises nothing. */
    OxbowRpm_BStreamReadBuffer(const char* buffer, std::uint64_t length,
                               const OxbowRpm_PoolDirectory& directory);
    /** For references that count in the pool's directory. Raises nothing. */
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
