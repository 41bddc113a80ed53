#include "OxbowRpm/impl/OxbowRpm_OSFile.h"

#include <OxbowPoolManager/OxbowExceptions.h>

#include <algorithm>

namespace {

/** The most bytes that one platform call moves. */
constexpr std::uint64_t kChunk = 0x40000;

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE;

DWORD ReaderShare(int sharing) {
    return sharing == 1 ? FILE_SHARE_READ : kShareAll;
}

DWORD WriterShare(int sharing) {
    return sharing == 2 ? kShareAll : FILE_SHARE_READ;
}

DWORD ChunkOf(std::uint64_t remaining) {
    return static_cast<DWORD>(std::min(remaining, kChunk));
}

OxbowExcSystemError SystemError(const char* service, DWORD code) {
    return OxbowExcSystemError(OxbowRpm_ServiceNameBuffer(service), FennelSystemError(code));
}

}  // namespace

OxbowRpm_OSFile::OxbowRpm_OSFile() : mHandle(nullptr), mReadOnly(true) {}

OxbowRpm_OSFile::~OxbowRpm_OSFile() {
    // A failed close ends the file, but not the record behind the handle.
    if (IsOpen() && !CloseHandle(mHandle)) {
        CloseHandle(mHandle);
    }
}

void OxbowRpm_OSFile::OpenReadOnly(const FennelUnicodeString& path, int sharing) {
    mReadOnly = true;
    OpenExisting(path, GENERIC_READ, ReaderShare(sharing));
}

void OxbowRpm_OSFile::OpenReadWrite(const FennelUnicodeString& path, int sharing) {
    mReadOnly = false;
    OpenExisting(path, GENERIC_READ | GENERIC_WRITE, WriterShare(sharing));
}

void OxbowRpm_OSFile::Create(const FennelUnicodeString& path, int sharing) {
    mReadOnly = false;
    const DWORD code =
        Open(path, GENERIC_READ | GENERIC_WRITE, CREATE_ALWAYS, WriterShare(sharing));
    if (code != 0) {
        SystemError("CreateFile", code).Throw(__FILE__, __LINE__);
    }
}

void OxbowRpm_OSFile::OpenExisting(const FennelUnicodeString& path, DWORD access, DWORD share) {
    const DWORD code = Open(path, access, OPEN_EXISTING, share);
    if (code == ERROR_FILE_NOT_FOUND) {
        OxbowExcNoSuchFile(OxbowRpm_FileNameBuffer(path.ConvertToChar())).Throw(__FILE__, __LINE__);
    }
    if (code != 0) {
        SystemError("CreateFile", code).Throw(__FILE__, __LINE__);
    }
}

DWORD OxbowRpm_OSFile::Open(const FennelUnicodeString& path, DWORD access, DWORD disposition,
                            DWORD share) {
    mName = path;
    // A zero byte would cut the path short, and the call would open, or empty, another file.
    if (path.View().find('\0') != std::string_view::npos) {
        return ERROR_INVALID_NAME;
    }
    mHandle = CreateFileA(path.ConvertToChar(), access, share, nullptr, disposition,
                          FILE_FLAG_RANDOM_ACCESS | FILE_ATTRIBUTE_NORMAL, nullptr);
    if (mHandle == INVALID_HANDLE_VALUE) {
        mHandle = nullptr;
        return GetLastError();
    }
    return 0;
}

void OxbowRpm_OSFile::Seek(const std::uint64_t& position) {
    LONG high = static_cast<LONG>(position >> 32);
    const DWORD low =
        SetFilePointer(mHandle, static_cast<LONG>(position & 0xFFFFFFFFu), &high, FILE_BEGIN);
    // The value alone can be a valid low word.
    if (low == INVALID_SET_FILE_POINTER) {
        const DWORD code = GetLastError();
        if (code != 0) {
            SystemError("SetFilePointer", code).Throw(__FILE__, __LINE__);
        }
    }
}

std::uint64_t OxbowRpm_OSFile::Read(void* buffer, std::uint64_t length) {
    char* place = static_cast<char*>(buffer);
    std::uint64_t total = 0;
    while (total < length) {
        DWORD got = 0;
        if (!ReadFile(mHandle, place + total, ChunkOf(length - total), &got, nullptr)) {
            OxbowExcReadError(FennelSystemError(GetLastError())).Throw(__FILE__, __LINE__);
        }
        if (got == 0) {
            break;
        }
        total += got;
    }
    return total;
}

void OxbowRpm_OSFile::Write(const void* data, std::uint64_t length) {
    if (mReadOnly) {
        OxbowExcReadOnly().Throw(__FILE__, __LINE__);
    }
    const char* place = static_cast<const char*>(data);
    std::uint64_t remaining = length;
    while (remaining != 0) {
        DWORD written = 0;
        if (!WriteFile(mHandle, place, ChunkOf(remaining), &written, nullptr)) {
            OxbowExcWriteError(FennelSystemError(GetLastError())).Throw(__FILE__, __LINE__);
        }
        if (written == 0) {
            OxbowExcShortWrite().Throw(__FILE__, __LINE__);
        }
        place += written;
        remaining -= written;
    }
}

void OxbowRpm_OSFile::Flush() {
    if (!mReadOnly && !FlushFileBuffers(mHandle)) {
        SystemError("FlushFileBuffers", GetLastError()).Throw(__FILE__, __LINE__);
    }
}

std::uint64_t OxbowRpm_OSFile::Size() const {
    DWORD high = 0;
    const DWORD low = GetFileSize(mHandle, &high);
    if (low == INVALID_FILE_SIZE) {
        const DWORD code = GetLastError();
        if (code != 0) {
            SystemError("GetFileSize", code).Throw(__FILE__, __LINE__);
        }
    }
    return (static_cast<std::uint64_t>(high) << 32) | low;
}

void OxbowRpm_OSFile::Close() {
    if (!CloseHandle(mHandle)) {
        OxbowExcFileCloseFailed(FennelSystemError(GetLastError())).Throw(__FILE__, __LINE__);
    }
    mHandle = nullptr;
}
