#include <OxbowPoolManager/OxbowExceptions.h>

#include <cinttypes>
#include <cstdio>

// One table of classes, codes and texts. A code is the class's place in the family and never
// changes: hosts write them to their logs.

#define OXBOW_DEFINE_COMMON(Class, code) \
    void Class::Propagate() const {      \
        throw *this;                     \
    }                                    \
    int Class::GetCode() const {         \
        return (code);                   \
    }

#define OXBOW_DEFINE_PLAIN(Class, code, text) \
    OXBOW_DEFINE_COMMON(Class, code)          \
    atr_String Class::AsString() const {      \
        return atr_String(#Class ": " text);  \
    }

OXBOW_DEFINE_PLAIN(OxbowExcValidationFailure, 1,
                   "a value is out of range, or there is nothing to act on")
OXBOW_DEFINE_PLAIN(OxbowExcCantDerefLocator, 2, "the pool that the locator names is not open")
OXBOW_DEFINE_PLAIN(OxbowExcCantExternalizeLoc, 3,
                   "the locator's pool is not in the directory of the pool written to")
OXBOW_DEFINE_PLAIN(OxbowExcCantGetFile, 4, "the file is not among the document's open files")
OXBOW_DEFINE_PLAIN(OxbowExcCorruptHeader, 5,
                   "a pool header is cut short or its length can't be true")
OXBOW_DEFINE_PLAIN(OxbowExcNotOxbowFile, 6, "there is no pool header where one should be")
OXBOW_DEFINE_PLAIN(OxbowExcUserSigMismatch, 8, "the file bears another user signature")
OXBOW_DEFINE_PLAIN(OxbowExcCorruptDirectory, 9, "a pool directory is cut short, empty or too large")
OXBOW_DEFINE_PLAIN(OxbowExcImmutablePool, 11, "the pool is sealed and can't grow")
OXBOW_DEFINE_PLAIN(OxbowExcNewPoolReadOnly, 12, "a read-only file takes no new pool")
OXBOW_DEFINE_PLAIN(OxbowExcShortPool, 13, "the source's file ends before its pool does")
OXBOW_DEFINE_PLAIN(OxbowExcAllocReadOnly, 14, "a read-only file can't be extended")
OXBOW_DEFINE_PLAIN(OxbowExcWriteReadOnly, 15, "a read-only file can't be written")
OXBOW_DEFINE_PLAIN(OxbowExcPoolAlreadyInDoc, 16, "a pool of this UUID is open in the document")
OXBOW_DEFINE_PLAIN(OxbowExcReadOnly, 22, "the operating-system file was opened for reading")
OXBOW_DEFINE_PLAIN(OxbowExcShortWrite, 23, "the write call moved no byte")

OXBOW_DEFINE_COMMON(OxbowExcNeedUpgrade, 7)
OXBOW_DEFINE_COMMON(OxbowExcIOBounds, 10)
OXBOW_DEFINE_COMMON(OxbowExcSystemError, 17)
OXBOW_DEFINE_COMMON(OxbowExcNoSuchFile, 18)
OXBOW_DEFINE_COMMON(OxbowExcFileCloseFailed, 19)
OXBOW_DEFINE_COMMON(OxbowExcReadError, 20)
OXBOW_DEFINE_COMMON(OxbowExcWriteError, 21)
OXBOW_DEFINE_COMMON(OxbowExcShortBuffer, 24)
OXBOW_DEFINE_COMMON(OxbowExcRequestTooBig, 25)

namespace {

/** Formats in a fixed place: the longest text is a file name of 1023 bytes with its words. */
template <class... Arguments>
atr_String Format(const char* format, Arguments... arguments) {
    char text[1280];
    std::snprintf(text, sizeof text, format, arguments...);
    return atr_String(text);
}

}  // namespace

OxbowExcNeedUpgrade::OxbowExcNeedUpgrade(unsigned int expected, unsigned int found,
                                         OxbowRpm_FileNameBuffer file)
    : mExpected(expected), mFound(found), mFile(file) {}

atr_String OxbowExcNeedUpgrade::AsString() const {
    return Format("OxbowExcNeedUpgrade: %s has format version %d, this library reads %u",
                  mFile.Text(), static_cast<int>(mFound), mExpected);
}

OxbowExcIOBounds::OxbowExcIOBounds(std::uint64_t offset, std::uint64_t end, std::uint64_t limit)
    : mOffset(offset), mEnd(end), mLimit(limit) {}

atr_String OxbowExcIOBounds::AsString() const {
    return Format("OxbowExcIOBounds: the range from %" PRIu64 " to %" PRIu64
                  " passes the limit of %" PRIu64,
                  mOffset, mEnd, mLimit);
}

OxbowExcSystemError::OxbowExcSystemError(OxbowRpm_ServiceNameBuffer service,
                                         FennelSystemError error)
    : mService(service), mError(error) {}

atr_String OxbowExcSystemError::AsString() const {
    return Format("OxbowExcSystemError: %s failed with system error %u", mService.Text(),
                  static_cast<unsigned>(mError.Code()));
}

OxbowExcNoSuchFile::OxbowExcNoSuchFile(OxbowRpm_FileNameBuffer file) : mFile(file) {}

atr_String OxbowExcNoSuchFile::AsString() const {
    return Format("OxbowExcNoSuchFile: there is no file %s", mFile.Text());
}

#define OXBOW_DEFINE_CODE_EXCEPTION(Class, action)                               \
    Class::Class(FennelSystemError error) : mError(error) {}                     \
    atr_String Class::AsString() const {                                         \
        return Format(#Class ": the file can't be " action " (system error %u)", \
                      static_cast<unsigned>(mError.Code()));                     \
    }

OXBOW_DEFINE_CODE_EXCEPTION(OxbowExcFileCloseFailed, "closed")
OXBOW_DEFINE_CODE_EXCEPTION(OxbowExcReadError, "read")
OXBOW_DEFINE_CODE_EXCEPTION(OxbowExcWriteError, "written")

OxbowExcShortBuffer::OxbowExcShortBuffer(unsigned int needed, unsigned int available)
    : mNeeded(needed), mAvailable(available) {}

atr_String OxbowExcShortBuffer::AsString() const {
    return Format("OxbowExcShortBuffer: %u bytes are needed, %u available", mNeeded, mAvailable);
}

OxbowExcRequestTooBig::OxbowExcRequestTooBig(unsigned int requested, unsigned int available)
    : mRequested(requested), mAvailable(available) {}

atr_String OxbowExcRequestTooBig::AsString() const {
    return Format("OxbowExcRequestTooBig: %u bytes were requested, %u are available", mRequested,
                  mAvailable);
}
