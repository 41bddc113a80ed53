#ifndef OXBOW_OXBOW_EXCEPTIONS_H
#define OXBOW_OXBOW_EXCEPTIONS_H

#include <OxbowPoolManager/OxbowRpm_FileNameBuffer.h>
#include <OxbowPoolManager/OxbowRpm_ServiceNameBuffer.h>
#include <OxbowPoolManager/base/FennelException.h>
#include <OxbowPoolManager/base/FennelSystemError.h>

#include <cstdint>

/** \file
    The family of exceptions. Memory exhaustion is not part of it: that is std::bad_alloc. Each
    operation documents what it leaves when it raises.

    Ownership: every class derives directly from FennelException and is a plain value that owns no
    heap memory, may be copied, kept and passed on, and lives as long as its holder likes.
    Threads: one object belongs to one thread at a time; copies may live on several.
    Raises: the three reports raise std::bad_alloc, nothing else raises but Throw and Propagate.
    Units: bytes. Each class's comment ends with its GetCode(). */

/** What each class overrides. The virtual table is emitted beside AsString. */
#define OXBOW_EXCEPTION_OVERRIDES                 \
    atr_String AsString() const override;         \
    [[noreturn]] void Propagate() const override; \
    int GetCode() const override;

/** A class without arguments. */
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
    on. Code 1. */
OXBOW_PLAIN_EXCEPTION(OxbowExcValidationFailure);
/** The pool that a locator names is not open. Code 2. */
OXBOW_PLAIN_EXCEPTION(OxbowExcCantDerefLocator);
/** A locator can't be stored here: its pool is not in the directory of the pool written to.
    Code 3. */
OXBOW_PLAIN_EXCEPTION(OxbowExcCantExternalizeLoc);
/** The file to be closed is not among the document's open files. Code 4. */
OXBOW_PLAIN_EXCEPTION(OxbowExcCantGetFile);
/** A pool header is cut short, or its length can't be true. Code 5. */
OXBOW_PLAIN_EXCEPTION(OxbowExcCorruptHeader);
/** Where a pool header should be, the signature is another. Code 6. */
OXBOW_PLAIN_EXCEPTION(OxbowExcNotOxbowFile);
/** The file bears another user signature than the document. Code 8. */
OXBOW_PLAIN_EXCEPTION(OxbowExcUserSigMismatch);
/** A pool directory is cut short, is empty, or has more entries than a document can know. Code 9.
*/
OXBOW_PLAIN_EXCEPTION(OxbowExcCorruptDirectory);
/** The pool is sealed and can't grow. Code 11. */
OXBOW_PLAIN_EXCEPTION(OxbowExcImmutablePool);
/** A read-only file takes no new pool. Code 12. */
OXBOW_PLAIN_EXCEPTION(OxbowExcNewPoolReadOnly);
/** The file of a pool to be copied ends before the pool does, or the pool has another length by
    now. Code 13. */
OXBOW_PLAIN_EXCEPTION(OxbowExcShortPool);
/** A read-only file can't be extended. A pool refuses that first, with OxbowExcImmutablePool, so
    that no public operation raises this. Code 14. */
OXBOW_PLAIN_EXCEPTION(OxbowExcAllocReadOnly);
/** A read-only file can't be written. Code 15. */
OXBOW_PLAIN_EXCEPTION(OxbowExcWriteReadOnly);
/** A pool of this UUID is open in the document already, or belongs to it. Code 16. */
OXBOW_PLAIN_EXCEPTION(OxbowExcPoolAlreadyInDoc);
/** The operating-system file was opened for reading. A file refuses that first, with
    OxbowExcWriteReadOnly, so that no public operation raises this. Code 22. */
OXBOW_PLAIN_EXCEPTION(OxbowExcReadOnly);
/** The platform's write call succeeded and moved no byte. Code 23. */
OXBOW_PLAIN_EXCEPTION(OxbowExcShortWrite);

/** The file has another format version than this library reads. Code 7. */
class OXBOW_EXPORT OxbowExcNeedUpgrade : public FennelException {
public:
    /** Keeps its arguments. */
    OxbowExcNeedUpgrade(unsigned int expected, unsigned int found, OxbowRpm_FileNameBuffer file);
    OxbowExcNeedUpgrade(const OxbowExcNeedUpgrade&) noexcept = default;
    OxbowExcNeedUpgrade& operator=(const OxbowExcNeedUpgrade&) = default;
    ~OxbowExcNeedUpgrade() override {}
    OXBOW_EXCEPTION_OVERRIDES

    /** The version that this library reads and writes: 6. */
    unsigned int ExpectedVersion() const noexcept { return mExpected; }
    /** The file's version byte, taken as signed and widened. */
    unsigned int FoundVersion() const noexcept { return mFound; }
    /** The file's name as AddFile was given it, cut to 1023 bytes. */
    const OxbowRpm_FileNameBuffer& FileName() const noexcept { return mFile; }

private:
    unsigned int mExpected;
    unsigned int mFound;
    OxbowRpm_FileNameBuffer mFile;
};

/** A write or a booking would pass the end of what there may be. Offsets are in bytes of the
    pool's data. Code 10. */
class OXBOW_EXPORT OxbowExcIOBounds : public FennelException {
public:
    /** Keeps its arguments. */
    OxbowExcIOBounds(std::uint64_t offset, std::uint64_t end, std::uint64_t limit);
    OxbowExcIOBounds(const OxbowExcIOBounds&) noexcept = default;
    OxbowExcIOBounds& operator=(const OxbowExcIOBounds&) = default;
    ~OxbowExcIOBounds() override {}
    OXBOW_EXCEPTION_OVERRIDES

    /** Where the refused range starts. */
    std::uint64_t Offset() const noexcept { return mOffset; }
    /** Just behind the refused range; 2^64 - 1 if the sum would pass that. */
    std::uint64_t End() const noexcept { return mEnd; }
    /** The greatest end that would have been accepted. */
    std::uint64_t Limit() const noexcept { return mLimit; }

private:
    std::uint64_t mOffset;
    std::uint64_t mEnd;
    std::uint64_t mLimit;
};

/** A platform call failed, and it is none of those that have a class of their own. Code 17. */
class OXBOW_EXPORT OxbowExcSystemError : public FennelException {
public:
    /** Keeps its arguments. */
    OxbowExcSystemError(OxbowRpm_ServiceNameBuffer service, FennelSystemError error);
    OxbowExcSystemError(const OxbowExcSystemError&) noexcept = default;
    OxbowExcSystemError& operator=(const OxbowExcSystemError&) = default;
    ~OxbowExcSystemError() override {}
    OXBOW_EXCEPTION_OVERRIDES

    /** The call: "CreateFile", "SetFilePointer", "GetFileSize" or "FlushFileBuffers". */
    const OxbowRpm_ServiceNameBuffer& ServiceName() const noexcept { return mService; }
    /** The platform's code. */
    const FennelSystemError& SystemError() const noexcept { return mError; }

private:
    OxbowRpm_ServiceNameBuffer mService;
    FennelSystemError mError;
};

/** The file to be opened is not there. Code 18. */
class OXBOW_EXPORT OxbowExcNoSuchFile : public FennelException {
public:
    /** Keeps its argument. */
    explicit OxbowExcNoSuchFile(OxbowRpm_FileNameBuffer file);
    OxbowExcNoSuchFile(const OxbowExcNoSuchFile&) noexcept = default;
    OxbowExcNoSuchFile& operator=(const OxbowExcNoSuchFile&) = default;
    ~OxbowExcNoSuchFile() override {}
    OXBOW_EXCEPTION_OVERRIDES

    /** The name that was asked for, cut to 1023 bytes. */
    const OxbowRpm_FileNameBuffer& FileName() const noexcept { return mFile; }

private:
    OxbowRpm_FileNameBuffer mFile;
};

/** A class that keeps the platform's code and no more. */
#define OXBOW_CODE_EXCEPTION(Class)                                              \
    class OXBOW_EXPORT Class : public FennelException {                          \
    public:                                                                      \
        /** Keeps the code. */                                                   \
        explicit Class(FennelSystemError error);                                 \
        Class(const Class&) noexcept = default;                                  \
        Class& operator=(const Class&) = default;                                \
        ~Class() override {}                                                     \
        OXBOW_EXCEPTION_OVERRIDES                                                \
                                                                                 \
        /** The platform's code. */                                              \
        const FennelSystemError& SystemError() const noexcept { return mError; } \
                                                                                 \
    private:                                                                     \
        FennelSystemError mError;                                                \
    }

/** The platform's close call failed. Code 19. */
OXBOW_CODE_EXCEPTION(OxbowExcFileCloseFailed);
/** The platform's read call failed. Code 20. */
OXBOW_CODE_EXCEPTION(OxbowExcReadError);
/** The platform's write call failed, for instance because the device is full. Code 21. */
OXBOW_CODE_EXCEPTION(OxbowExcWriteError);

/** A stream's memory or limit is too short for the request. Values are cut to 32 bits. Code 24. */
class OXBOW_EXPORT OxbowExcShortBuffer : public FennelException {
public:
    /** Keeps its arguments. */
    OxbowExcShortBuffer(unsigned int needed, unsigned int available);
    OxbowExcShortBuffer(const OxbowExcShortBuffer&) noexcept = default;
    OxbowExcShortBuffer& operator=(const OxbowExcShortBuffer&) = default;
    ~OxbowExcShortBuffer() override {}
    OXBOW_EXCEPTION_OVERRIDES

    /** On memory the bytes requested; on a pool the bytes that the stream would have carried. */
    unsigned int Needed() const noexcept { return mNeeded; }
    /** On memory the bytes left; on a pool the stream's limit. */
    unsigned int Available() const noexcept { return mAvailable; }

private:
    unsigned int mNeeded;
    unsigned int mAvailable;
};

/** A request exceeds a stream's internal buffer, or the data that is left. Values are cut to 32
    bits. Code 25. */
class OXBOW_EXPORT OxbowExcRequestTooBig : public FennelException {
public:
    /** Keeps its arguments. */
    OxbowExcRequestTooBig(unsigned int requested, unsigned int available);
    OxbowExcRequestTooBig(const OxbowExcRequestTooBig&) noexcept = default;
    OxbowExcRequestTooBig& operator=(const OxbowExcRequestTooBig&) = default;
    ~OxbowExcRequestTooBig() override {}
    OXBOW_EXCEPTION_OVERRIDES

    /** The bytes requested. */
    unsigned int Requested() const noexcept { return mRequested; }
    /** The bytes at hand when reading, the size of the buffer when writing. */
    unsigned int Available() const noexcept { return mAvailable; }

private:
    unsigned int mRequested;
    unsigned int mAvailable;
};

#undef OXBOW_CODE_EXCEPTION
#undef OXBOW_PLAIN_EXCEPTION
#undef OXBOW_EXCEPTION_OVERRIDES

#endif
