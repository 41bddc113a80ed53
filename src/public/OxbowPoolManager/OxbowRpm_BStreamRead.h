#ifndef OXBOW_OXBOW_RPM_B_STREAM_READ_H
#define OXBOW_OXBOW_RPM_B_STREAM_READ_H

#include <OxbowPoolManager/PrivateInterfaces/OxbowRpm_Forward.h>
#include <OxbowPoolManager/base/FennelString.h>
#include <OxbowPoolManager/base/FennelUnicodeString.h>
#include <OxbowPoolManager/base/mem_AllocationOperators.h>

#include <cstdint>

/** Reads scalars, strings and locators, wherever the bytes lie. Forwards only.

    Ownership: the caller makes one of the concrete streams and passes it as this class. Not copied.
    Threads: a stream belongs to one thread at a time.
    Raises: what the concrete stream raises, and std::bad_alloc.
    Units: bytes; stored numbers are little-endian. */
class OXBOW_EXPORT OxbowRpm_BStreamRead : public mem_AllocationOperators {
public:
    OxbowRpm_BStreamRead() = default;
    OxbowRpm_BStreamRead(const OxbowRpm_BStreamRead&) = delete;
    OxbowRpm_BStreamRead& operator=(const OxbowRpm_BStreamRead&) = delete;
    virtual ~OxbowRpm_BStreamRead();

    /** Returns a pointer to the next bytes, without alignment and valid until the next call on the
        stream, and counts them as read. After a failure the stream has not moved, unless the
        concrete class says otherwise. A length of 0 is a failed assertion, which ends the process.
    */
    virtual const char* PrepRead(std::uint64_t requestedLength) = 0;
    /** Copies the next bytes out. A length of 0 does nothing. Fails as PrepRead. */
    virtual void ReadBlock(void* destination, std::uint32_t length) = 0;
    /** The directory in which the stream's stored locators count; OxbowRpm_Locator asks for it. */
    virtual const OxbowRpm_PoolDirectoryImpl& SourceDir() const = 0;

    /** Reads a string: a 32-bit length, the bytes in one ReadBlock, and padding to a multiple of 4,
        which is skipped. A text ends at its first zero byte. On a stream over a pool, a text that is
        longer than the stream's buffer and whose length reaches past the end of the file comes back
        short, as the text that is there; any other raises what ReadBlock raises. The stored length
        costs address space for as many bytes, and memory only where bytes are read; a sparse file
        can hold 2 GiB of them.
        Raises: OxbowExcValidationFailure for a negative length; what ReadBlock raises.
        Leaves: after a failure the value is unchanged, and the stream is behind the length. */
    void Read(FennelString& value);
    /** As for a FennelString. */
    void Read(FennelUnicodeString& value);
    /** Reads a 32-bit scalar. After a failure the value is as it was. */
    void Read(std::int32_t& value);
    /** Reads a 32-bit scalar. After a failure the value is as it was. */
    void Read(std::uint32_t& value);
};

#endif
