// The eight calls over a POSIX file: what is added here is the handle, the position and the
// thread's last error.
#include "platform/platform_FileCalls.h"

#include <cerrno>
#include <memory>
#include <new>

#include "platform/posix/platform_PosixFile.h"

namespace {

static_assert(ERROR_FILE_NOT_FOUND == ENOENT && ERROR_INVALID_NAME == EINVAL,
              "codes are errno values");

thread_local DWORD tLastError = 0;

// What a handle points to.
struct OpenFile {
    platform_PosixFile mFile;
    std::uint64_t mPosition = 0;
};

// Keeps the code of a failure, or the 0 of a success, and returns the call's result.
BOOL Report(int error) {
    tLastError = static_cast<DWORD>(error);
    return error == 0;
}

// Returns null, with the last error set, when no open file is behind the handle.
OpenFile* Use(HANDLE handle) {
    auto* const open = handle == INVALID_HANDLE_VALUE ? nullptr : static_cast<OpenFile*>(handle);
    return Report(open != nullptr && open->mFile.IsOpen() ? 0 : EBADF) ? open : nullptr;
}

DWORD LowWord(std::uint64_t value) {
    return static_cast<DWORD>(value & 0xFFFFFFFF);
}

}  // namespace

HANDLE CreateFileA(const char* path, DWORD access, DWORD share, void*, DWORD disposition, DWORD,
                   void*) {
    using Mode = platform_PosixFile::Mode;
    const bool writes = (access & GENERIC_WRITE) != 0;
    const Mode existing = writes ? Mode::Update : Mode::Read;
    const Mode mode = disposition == CREATE_ALWAYS ? Mode::Create : existing;
    const bool deniesWriting = (share & FILE_SHARE_WRITE) == 0;
    // The object comes first, so that a lack of memory leaves no new file behind.
    std::unique_ptr<OpenFile> open(new (std::nothrow) OpenFile);
    const int error = open == nullptr ? ENOMEM : open->mFile.Open(path, mode, deniesWriting);
    return Report(error) ? open.release() : INVALID_HANDLE_VALUE;
}

DWORD SetFilePointer(HANDLE handle, LONG low, LONG* high, DWORD method) {
    const std::uint64_t highWord = high == nullptr ? 0 : static_cast<DWORD>(*high);
    const std::uint64_t position = highWord << 32 | static_cast<DWORD>(low);
    OpenFile* const open = Use(handle);
    if (open == nullptr || !Report(method == FILE_BEGIN && position <= INT64_MAX ? 0 : EINVAL)) {
        return INVALID_SET_FILE_POINTER;
    }
    open->mPosition = position;
    return LowWord(position);
}

BOOL ReadFile(HANDLE handle, void* buffer, DWORD count, DWORD* got, void*) {
    *got = 0;
    OpenFile* const open = Use(handle);
    if (open == nullptr || !Report(open->mFile.Read(open->mPosition, buffer, count, *got))) {
        return 0;
    }
    open->mPosition += *got;
    return 1;
}

BOOL WriteFile(HANDLE handle, const void* data, DWORD count, DWORD* written, void*) {
    *written = 0;
    OpenFile* const open = Use(handle);
    if (open == nullptr || !Report(open->mFile.Write(open->mPosition, data, count))) {
        return 0;
    }
    *written = count;
    open->mPosition += count;
    return 1;
}

BOOL FlushFileBuffers(HANDLE handle) {
    OpenFile* const open = Use(handle);
    return open != nullptr && Report(open->mFile.Flush());
}

DWORD GetFileSize(HANDLE handle, DWORD* high) {
    std::uint64_t length = 0;
    OpenFile* const open = Use(handle);
    if (open == nullptr || !Report(open->mFile.Size(length))) {
        return INVALID_FILE_SIZE;
    }
    if (high != nullptr) {
        *high = static_cast<DWORD>(length >> 32);
    }
    return LowWord(length);
}

BOOL CloseHandle(HANDLE handle) {
    if (handle == nullptr || handle == INVALID_HANDLE_VALUE) {
        return Report(EBADF);
    }
    // After a failure the owner still has the handle, and closes it once more. That call finds
    // nothing open, and succeeds.
    auto* const open = static_cast<OpenFile*>(handle);
    const BOOL closed = Report(open->mFile.Close());
    if (closed) {
        delete open;
    }
    return closed;
}

DWORD GetLastError() {
    return tLastError;
}
