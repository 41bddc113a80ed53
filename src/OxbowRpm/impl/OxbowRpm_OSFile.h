#ifndef OXBOW_OXBOW_RPM_OS_FILE_H
#define OXBOW_OXBOW_RPM_OS_FILE_H

#include <OxbowPoolManager/base/FennelUnicodeString.h>

#include <cstdint>

#include "OxbowRpm/impl/OxbowRpm_Mutex.h"
#include "platform/platform_FileCalls.h"

/** One open file of the operating system: the only class that makes the platform's file calls. It
    turns each failure into an exception, and knows nothing of pools.

    Open paths are called once, on a new object; after a failed one the object is closed. `sharing`:
    1 lets others read, 2 lets them read and write, anything else is the path's default (a reader
    lets others write, a writer doesn't). After a failed transfer the file stays open and the
    platform's position is unknown.
    Threads: no lock of its own; Mutex() is for callers, around a Seek and the transfer behind it.
*/
class OxbowRpm_OSFile {
public:
    OxbowRpm_OSFile();
    /** Closes what is open, without flushing; raises nothing. */
    ~OxbowRpm_OSFile();
    OxbowRpm_OSFile(const OxbowRpm_OSFile&) = delete;
    OxbowRpm_OSFile& operator=(const OxbowRpm_OSFile&) = delete;

    /** Raise OxbowExcNoSuchFile, or OxbowExcSystemError ("CreateFile"). */
    void OpenReadOnly(const FennelUnicodeString& path, int sharing);
    void OpenReadWrite(const FennelUnicodeString& path, int sharing);
    /** Makes the file, or empties an existing one. Raises OxbowExcSystemError ("CreateFile"). */
    void Create(const FennelUnicodeString& path, int sharing);

    /** From the file's start; past the end is no failure. Raises OxbowExcSystemError
        ("SetFilePointer"). */
    void Seek(const std::uint64_t& position);
    /** Returns less than `length` only when the file has ended. Raises OxbowExcReadError. */
    std::uint64_t Read(void* buffer, std::uint64_t length);
    /** Raises OxbowExcReadOnly, OxbowExcWriteError, OxbowExcShortWrite. */
    void Write(const void* data, std::uint64_t length);
    /** Nothing on a read-only file. Raises OxbowExcSystemError ("FlushFileBuffers"). */
    void Flush();
    /** Raises OxbowExcSystemError ("GetFileSize"). */
    std::uint64_t Size() const;
    /** Raises OxbowExcFileCloseFailed, also on an object that is not open. */
    void Close();

    bool IsOpen() const { return mHandle != nullptr; }
    const FennelUnicodeString& Name() const { return mName; }
    bool ReadOnly() const { return mReadOnly; }
    OxbowRpm_Mutex& Mutex() { return mMutex; }

private:
    /** Returns 0, or the platform's code of the failure. */
    DWORD Open(const FennelUnicodeString& path, DWORD access, DWORD disposition, DWORD share);
    void OpenExisting(const FennelUnicodeString& path, DWORD access, DWORD share);

    FennelUnicodeString mName;
    HANDLE mHandle;
    bool mReadOnly;
    OxbowRpm_Mutex mMutex;
};

#endif
