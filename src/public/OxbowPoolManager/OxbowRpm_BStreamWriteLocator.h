#ifndef OXBOW_OXBOW_RPM_B_STREAM_WRITE_LOCATOR_H
#define OXBOW_OXBOW_RPM_B_STREAM_WRITE_LOCATOR_H

#include <OxbowPoolManager/OxbowRpm_BStreamWrite.h>
#include <OxbowPoolManager/OxbowRpm_Locator.h>

/** Writes forwards from a locator through an internal buffer, into a range that was allocated
    before; blocks that the buffer can't take go past it. What the buffer holds reaches the pool
    when it overflows and in the destructor: there is no flush.

    Ownership: keeps a copy of the locator, which keeps nothing alive; owns its buffer, made when
    first needed. While it holds bytes, it must be destroyed before its document.
    Threads: one at a time, the document's.
    Raises: OxbowExcShortBuffer (total reached, limit) past the limit; OxbowExcRequestTooBig
    (requested, buffer size) when a request exceeds the buffer; nothing was accepted then, though
    buffered bytes may have been written. OxbowExcCantDerefLocator, OxbowExcIOBounds,
    OxbowExcWriteReadOnly and the platform's failures pass through, and the bytes held back remain.
    The destructor raises, too, unless more exceptions are on their way than when the stream was
    made: then it drops its own. So destroy the stream where an exception can be handled, and not
    from a destructor that is noexcept: a std::unique_ptr or a std::optional that holds it ends the
    process when the last write fails.
    While the pool is not open, SourceDir, and with it a locator that is written, ends the process.
    Durability: what was written is on the device when OxbowRpm_File::Flush has returned.
    Units: bytes. */
class OXBOW_EXPORT OxbowRpm_BStreamWriteLocator : public OxbowRpm_BStreamWrite {
public:
    /** `limit`: the most bytes that the stream may take, 0 for no limit. `bufferSize`: at least 16
        bytes are taken. Touches nothing and raises nothing. */
    OxbowRpm_BStreamWriteLocator(const OxbowRpm_Locator& start, const std::uint64_t& limit,
                                 std::uint64_t bufferSize);
    ~OxbowRpm_BStreamWriteLocator() noexcept(false) override;

    char* PrepWrite(std::uint64_t requestedLength) override;
    void WriteBlock(const void* source, std::uint32_t length) override;
    const OxbowRpm_PoolDirectoryImpl& SourceDir() const override;

private:
    void FlushBuffer();
    void CheckLimit(std::uint64_t length) const;

    OxbowRpm_Locator mLocator;
    std::uint64_t mLimit;
    std::uint64_t mBufferSize;
    std::uint64_t mPosition;
    std::uint64_t mUsed;
    char* mBuffer;
    int mExceptionsBefore;
};

#endif
