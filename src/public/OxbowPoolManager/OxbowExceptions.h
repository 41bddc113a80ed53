#ifndef OXBOW_OXBOW_EXCEPTIONS_H
#define OXBOW_OXBOW_EXCEPTIONS_H

#include <OxbowPoolManager/OxbowRpm_FileNameBuffer.h>
#include <OxbowPoolManager/OxbowRpm_ServiceNameBuffer.h>
#include <OxbowPoolManager/base/FennelException.h>
#include <OxbowPoolManager/base/FennelSystemError.h>

#include <cstdint>

/** \file
    The family of exceptions. Every class derives directly from FennelException and is a plain
   value: it owns no heap memory and may be copied, kept and passed on. AsString() shows the
   arguments that a class keeps; GetCode() is unlike for each class. What an operation leaves behind
   when it raises stands with that operation. Memory exhaustion is not part of the family: it is
   std::bad_alloc. */

// What each class overrides. The virtual table stands where AsString does.
#define OXBOW_EXCEPTION_OVERRIDES                 \
    atr_String AsString() const override;         \
    [[noreturn]] void Propagate() const override; \
    int GetCode() const override;

// A class without arguments.
#define OXBOW_PLAIN_EXCEPTION(Class)                    \
    class OXBOW_EXPORT Class : public FennelException { \
    public:                                             \
        Class() noexcept {}                             \
        Class(const Class&) noexcept = default;         \
        Class& operator=(const Class&) = default;       \
        ~Class() override {}                            \
        OXBOW_EXCEPTION_OVERRIDES                       \
    }

/** A number from a caller or from stored data is out of range, or an operation has nothing to act
    on. */
OXBOW_PLAIN_EXCEPTION(OxbowExcValidationFailure);
/** The pool that a locator names is not open. */
OXBOW_PLAIN_EXCEPTION(OxbowExcCantDerefLocator);
/** A locator can't be stored here: its pool is not in the directory of the pool written to. */
OXBOW_PLAIN_EXCEPTION(OxbowExcCantExternalizeLoc);
/** The file to be closed is not among the document's open files. */
OXBOW_PLAIN_EXCEPTION(OxbowExcCantGetFile);
/** A pool header is cut short, or its length can't be true. */
OXBOW_PLAIN_EXCEPTION(OxbowExcCorruptHeader);
/** Where a pool header should stand, the signature is another. */
OXBOW_PLAIN_EXCEPTION(OxbowExcNotOxbowFile);
/** The file bears another user signature than the document. */
OXBOW_PLAIN_EXCEPTION(OxbowExcUserSigMismatch);
/** A pool directory is cut short, empty or too large. */
OXBOW_PLAIN_EXCEPTION(OxbowExcCorruptDirectory);
/** The pool is sealed and can't grow. */
OXBOW_PLAIN_EXCEPTION(OxbowExcImmutablePool);
/** A read-only file takes no new pool. */
OXBOW_PLAIN_EXCEPTION(OxbowExcNewPoolReadOnly);
/** The file of a pool to be copied ends before the pool does. */
OXBOW_PLAIN_EXCEPTION(OxbowExcShortPool);
/** A read-only file can't be extended. */
OXBOW_PLAIN_EXCEPTION(OxbowExcAllocReadOnly);
/** A read-only file can't be written. */
OXBOW_PLAIN_EXCEPTION(OxbowExcWriteReadOnly);
/** A pool of this UUID is open in the document already. */
OXBOW_PLAIN_EXCEPTION(OxbowExcPoolAlreadyInDoc);
/** The operating-system file was opened for reading. */
OXBOW_PLAIN_EXCEPTION(OxbowExcReadOnly);
/** The platform's write call succeeded and moved no byte. */
OXBOW_PLAIN_EXCEPTION(OxbowExcShortWrite);

/** The file has another format version than this library reads. */
class OXBOW_EXPORT OxbowExcNeedUpgrade : public FennelException {
public:
    OxbowExcNeedUpgrade(unsigned int expected, unsigned int found, OxbowRpm_FileNameBuffer file);
    OxbowExcNeedUpgrade(const OxbowExcNeedUpgrade&) noexcept = default;
    OxbowExcNeedUpgrade& operator=(const OxbowExcNeedUpgrade&) = default;
    ~OxbowExcNeedUpgrade() override {}
    OXBOW_EXCEPTION_OVERRIDES

    unsigned int ExpectedVersion() const noexcept { return mExpected; }
    /** The version byte taken as signed and widened. */
    unsigned int FoundVersion() const noexcept { return mFound; }
    const OxbowRpm_FileNameBuffer& FileName() const noexcept { return mFile; }

private:
    unsigned int mExpected;
    unsigned int mFound;
    OxbowRpm_FileNameBuffer mFile;
};

/** A write or a booking would pass the end of what there may be. Offsets in bytes of the pool's
    data; an end that would pass 2^64 - 1 is given as that value. */
class OXBOW_EXPORT OxbowExcIOBounds : public FennelException {
public:
    OxbowExcIOBounds(std::uint64_t offset, std::uint64_t end, std::uint64_t limit);
    OxbowExcIOBounds(const OxbowExcIOBounds&) noexcept = default;
    OxbowExcIOBounds& operator=(const OxbowExcIOBounds&) = default;
    ~OxbowExcIOBounds() override {}
    OXBOW_EXCEPTION_OVERRIDES

    std::uint64_t Offset() const noexcept { return mOffset; }
    std::uint64_t End() const noexcept { return mEnd; }
    std::uint64_t Limit() const noexcept { return mLimit; }

private:
    std::uint64_t mOffset;
    std::uint64_t mEnd;
    std::uint64_t mLimit;
};

/** A platform call failed, and it is none of those that have a class of their own. */
class OXBOW_EXPORT OxbowExcSystemError : public FennelException {
public:
    OxbowExcSystemError(OxbowRpm_ServiceNameBuffer service, FennelSystemError error);
    OxbowExcSystemError(const OxbowExcSystemError&) noexcept = default;
    OxbowExcSystemError& operator=(const OxbowExcSystemError&) = default;
    ~OxbowExcSystemError() override {}
    OXBOW_EXCEPTION_OVERRIDES

    const OxbowRpm_ServiceNameBuffer& ServiceName() const noexcept { return mService; }
    const FennelSystemError& SystemError() const noexcept { return mError; }

private:
    OxbowRpm_ServiceNameBuffer mService;
    FennelSystemError mError;
};

/** The file to be opened is not there. */
class OXBOW_EXPORT OxbowExcNoSuchFile : public FennelException {
public:
    explicit OxbowExcNoSuchFile(OxbowRpm_FileNameBuffer file);
    OxbowExcNoSuchFile(const OxbowExcNoSuchFile&) noexcept = default;
    OxbowExcNoSuchFile& operator=(const OxbowExcNoSuchFile&) = default;
    ~OxbowExcNoSuchFile() override {}
    OXBOW_EXCEPTION_OVERRIDES

    /** Cut to 1023 bytes. */
    const OxbowRpm_FileNameBuffer& FileName() const noexcept { return mFile; }

private:
    OxbowRpm_FileNameBuffer mFile;
};

// A class that keeps the platform's code and no more.
#define OXBOW_CODE_EXCEPTION(Class)                                              \
    class OXBOW_EXPORT Class : public FennelException {                          \
    public:                                                                      \
        explicit Class(FennelSystemError error);                                 \
        Class(const Class&) noexcept = default;                                  \
        Class& operator=(const Class&) = default;                                \
        ~Class() override {}                                                     \
        OXBOW_EXCEPTION_OVERRIDES                                                \
                                                                                 \
        const FennelSystemError& SystemError() const noexcept { return mError; } \
                                                                                 \
    private:                                                                     \
        FennelSystemError mError;                                                \
    }

/** The platform's close call failed. */
OXBOW_CODE_EXCEPTION(OxbowExcFileCloseFailed);
/** The platform's read call failed. */
OXBOW_CODE_EXCEPTION(OxbowExcReadError);
/** The platform's write call failed, for instance because the device is full. */
OXBOW_CODE_EXCEPTION(OxbowExcWriteError);

/** A stream's buffer or limit is too short for the request. Values are cut to 32 bits. */
class OXBOW_EXPORT OxbowExcShortBuffer : public FennelException {
public:
    OxbowExcShortBuffer(unsigned int needed, unsigned int available);
    OxbowExcShortBuffer(const OxbowExcShortBuffer&) noexcept = default;
    OxbowExcShortBuffer& operator=(const OxbowExcShortBuffer&) = default;
    ~OxbowExcShortBuffer() override {}
    OXBOW_EXCEPTION_OVERRIDES

    unsigned int Needed() const noexcept { return mNeeded; }
    unsigned int Available() const noexcept { return mAvailable; }

private:
    unsigned int mNeeded;
    unsigned int mAvailable;
};

/** A request exceeds a stream's internal buffer, or the data that is left. Values are cut to 32
    bits. */
class OXBOW_EXPORT OxbowExcRequestTooBig : public FennelException {
public:
    OxbowExcRequestTooBig(unsigned int requested, unsigned int available);
    OxbowExcRequestTooBig(const OxbowExcRequestTooBig&) noexcept = default;
    OxbowExcRequestTooBig& operator=(const OxbowExcRequestTooBig&) = default;
    ~OxbowExcRequestTooBig() override {}
    OXBOW_EXCEPTION_OVERRIDES

    unsigned int Requested() const noexcept { return mRequested; }
    unsigned int Available() const noexcept { return mAvailable; }

private:
    unsigned int mRequested;
    unsigned int mAvailable;
};

#undef OXBOW_CODE_EXCEPTION
#undef OXBOW_PLAIN_EXCEPTION
#undef OXBOW_EXCEPTION_OVERRIDES

#endif
