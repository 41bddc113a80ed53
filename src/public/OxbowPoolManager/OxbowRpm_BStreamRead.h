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

    /** Gives a pointer to the next bytes, without alignment, good until the next call on the
        stream, and counts them as read. After a failure the stream has not moved, but for what the
        concrete class tells. A length of 0 is a failed assertion, which ends the process. */
    virtual const char* PrepRead(std::uint64_t requestedLength) = 0;
    /** Copies the next bytes out. A length of 0 does nothing. Fails as PrepRead. */
    virtual void ReadBlock(void* destination, std::uint32_t length) = 0;
    /** The directory in which the stream's stored locators count; OxbowRpm_Locator asks for it. */
    virtual const OxbowRpm_PoolDirectoryImpl& SourceDir() const = 0;

    /** Reads a string: a 32-bit length, the bytes, and padding to a multiple of 4, which is
        skipped. A text ends at its first zero byte. A negative length raises
        OxbowExcValidationFailure. A length that goes past the end of a file gives the text that is
        there, or what ReadBlock raises; it takes memory for that text alone. A text of more than 1
        MiB is read in several blocks. After a failure the value is as it was, and the stream stands
        behind what it had taken. */
    void Read(FennelString& value);
    /** As for a FennelString. */
    void Read(FennelUnicodeString& value);
    /** Reads a 32-bit scalar. After a failure the value is as it was. */
    void Read(std::int32_t& value);
    /** Reads a 32-bit scalar. After a failure the value is as it was. */
    void Read(std::uint32_t& value);
};

#endif
