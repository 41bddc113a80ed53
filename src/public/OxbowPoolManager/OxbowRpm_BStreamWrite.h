#ifndef OXBOW_OXBOW_RPM_B_STREAM_WRITE_H
#define OXBOW_OXBOW_RPM_B_STREAM_WRITE_H

#include <OxbowPoolManager/PrivateInterfaces/OxbowRpm_Forward.h>
#include <OxbowPoolManager/base/FennelString.h>
#include <OxbowPoolManager/base/FennelUnicodeString.h>
#include <OxbowPoolManager/base/mem_AllocationOperators.h>

#include <cstdint>

/** Writes scalars, strings and locators, wherever the bytes go. Forwards only.

    Ownership: the caller makes one of the concrete streams and passes it as this class. Not copied.
    Threads: a stream belongs to one thread at a time.
    Raises: what the concrete stream raises, and std::bad_alloc. The destructor of a stream may
    raise, too.
    Units: bytes; stored numbers are little-endian. */
class OXBOW_EXPORT OxbowRpm_BStreamWrite : public mem_AllocationOperators {
public:
    OxbowRpm_BStreamWrite() = default;
    OxbowRpm_BStreamWrite(const OxbowRpm_BStreamWrite&) = delete;
    OxbowRpm_BStreamWrite& operator=(const OxbowRpm_BStreamWrite&) = delete;
    /** A stream that holds bytes back writes them here, and what fails then leaves the destructor.
    */
    virtual ~OxbowRpm_BStreamWrite() noexcept(false);

    /** Reserves the next bytes and returns a pointer to them, without alignment; the caller fills all
        of them before its next call on the stream. After a failure nothing was accepted. A length
        of 0 is a failed assertion, which ends the process. */
    virtual char* PrepWrite(std::uint64_t requestedLength) = 0;
    /** Appends bytes. A length of 0 does nothing. After a failure for lack of room nothing was
        accepted; after one of the platform a part may have been written. */
    virtual void WriteBlock(const void* source, std::uint32_t length) = 0;
    /** The directory in which the locators written count; OxbowRpm_Locator asks for it. */
    virtual const OxbowRpm_PoolDirectoryImpl& SourceDir() const = 0;

    /** Writes a string: a 32-bit length, the bytes, and zeros to a multiple of 4.
        Raises: OxbowExcValidationFailure for a text of 2^31 bytes or more, and std::bad_alloc, both
        before anything is written; what PrepWrite and WriteBlock raise.
        Leaves: a failure behind the length leaves that in the stream without its text. */
    void Write(const FennelString& value);
    /** As for a FennelString. */
    void Write(const FennelUnicodeString& value);
    /** Terminated text, as for a FennelString. */
    void Write(const char* value);
    /** Writes a 32-bit scalar. After a failure nothing was accepted. */
    void Write(const std::int32_t& value);
    /** Writes a 32-bit scalar. After a failure nothing was accepted. */
    void Write(const std::uint32_t& value);
};

#endif
