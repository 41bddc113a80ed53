#ifndef OXBOW_OXBOW_RPM_B_STREAM_READ_LOCATOR_H
#define OXBOW_OXBOW_RPM_B_STREAM_READ_LOCATOR_H

#include <OxbowPoolManager/OxbowRpm_BStreamRead.h>
#include <OxbowPoolManager/OxbowRpm_Locator.h>

/** Reads forwards from a locator through an internal buffer; blocks larger than the buffer go past
    it.

    Ownership: keeps a copy of the locator, which keeps nothing alive; owns its buffer, made when
    first needed.
    Threads: one at a time, the document's.
    Raises: OxbowExcShortBuffer (total reached, limit) past the limit; OxbowExcRequestTooBig
    (requested, bytes at hand) when a request exceeds the buffer or the file has ended; the stream
    has not moved then. OxbowExcCantDerefLocator and the platform's failures pass through; after one
    of those the stream must not be used again. A block larger than the buffer that meets the file's
    end is short without a failure: the rest of its destination is unchanged.
    While the pool is not open, SourceDir, and with it a locator that is read, ends the process.
    Units: bytes. */
class OXBOW_EXPORT OxbowRpm_BStreamReadLocator : public OxbowRpm_BStreamRead {
public:
    /** `limit`: the most bytes that the stream may return, 0 for no limit. Without one a read can
        run past the pool's data. `bufferSize`: at least 16 bytes are taken. Touches nothing and
        raises nothing. */
    OxbowRpm_BStreamReadLocator(const OxbowRpm_Locator& start, const std::uint64_t& limit,
                                std::uint64_t bufferSize);
    ~OxbowRpm_BStreamReadLocator() override;

    const char* PrepRead(std::uint64_t requestedLength) override;
    void ReadBlock(void* destination, std::uint32_t length) override;
    const OxbowRpm_PoolDirectoryImpl& SourceDir() const override;

private:
    void Refill();
    void CheckLimit(std::uint64_t length) const;
    void ReadPastBuffer(char* destination, std::uint64_t length);

    OxbowRpm_Locator mLocator;
    std::uint64_t mLimit;
    std::uint64_t mBufferSize;
    std::uint64_t mPosition;
    std::uint64_t mCursor;
    std::uint64_t mValid;
    char* mBuffer;
};

#endif
