#include "platform/platform_FileCalls.h"

#include <cerrno>
#include <memory>
#include <new>

#include "platform/posix/platform_File.h"

namespace {

static_assert(ERROR_FILE_NOT_FOUND == ENOENT && ERROR_INVALID_NAME == EINVAL,
              "codes are errno values");

thread_local DWORD tLastError = 0;

BOOL Fail(int code) {
    tLastError = static_cast<DWORD>(code);
    return 0;
}

// The open file behind a handle; null, with the last error set, when there is none.
platform_File* Use(HANDLE handle) {
    platform_File* const file =
        handle == INVALID_HANDLE_VALUE ? nullptr : static_cast<platform_File*>(handle);
    if (file == nullptr || file->IsClosed()) {
        Fail(EBADF);
        return nullptr;
    }
    return file;
}

// 1 if the operation behind a call returned 0.
BOOL Done(int error) {
    return error == 0 ? 1 : Fail(error);
}

DWORD LowWord(std::uint64_t value) {
    return static_cast<DWORD>(value & 0xFFFFFFFF);
}

}  // namespace

HANDLE CreateFileA(const char* path, DWORD access, DWORD share, void*, DWORD disposition, DWORD,
                   void*) {
    const bool creates = disposition == CREATE_ALWAYS;
    const bool writes = creates || (access & GENERIC_WRITE) != 0;
    // The record comes first, so that a lack of memory leaves no new file behind.
    std::unique_ptr<platform_File> file(new (std::nothrow) platform_File);
    const int error = file == nullptr
                          ? ENOMEM
                          : file->Open(path, writes, creates, (share & FILE_SHARE_WRITE) == 0);
    if (error != 0) {
        Fail(error);
        return INVALID_HANDLE_VALUE;
    }
    return file.release();
}

DWORD SetFilePointer(HANDLE handle, LONG low, LONG* high, DWORD) {
    platform_File* const file = Use(handle);
    if (file == nullptr) {
        return INVALID_SET_FILE_POINTER;
    }
    const std::uint64_t highWord = high == nullptr ? 0 : static_cast<DWORD>(*high);
    const std::uint64_t position = highWord << 32 | static_cast<DWORD>(low);
    if (position > static_cast<std::uint64_t>(platform_kGreatestPosition)) {
        Fail(EINVAL);
        return INVALID_SET_FILE_POINTER;
    }
    file->Seek(position);
    tLastError = 0;
    return LowWord(position);
}

BOOL ReadFile(HANDLE handle, void* buffer, DWORD count, DWORD* got, void*) {
    *got = 0;
    platform_File* const file = Use(handle);
    return file != nullptr && Done(file->Read(buffer, count, *got));
}

BOOL WriteFile(HANDLE handle, const void* data, DWORD count, DWORD* written, void*) {
    *written = 0;
    platform_File* const file = Use(handle);
    if (file == nullptr || !Done(file->Write(data, count))) {
        return 0;
    }
    *written = count;
    return 1;
}

BOOL FlushFileBuffers(HANDLE handle) {
    platform_File* const file = Use(handle);
    return file != nullptr && Done(file->Flush());
}

DWORD GetFileSize(HANDLE handle, DWORD* high) {
    platform_File* const file = Use(handle);
    std::uint64_t length = 0;
    if (file == nullptr || !Done(file->Size(length))) {
        return INVALID_FILE_SIZE;
    }
    if (high != nullptr) {
        *high = static_cast<DWORD>(length >> 32);
    }
    tLastError = 0;
    return LowWord(length);
}

BOOL CloseHandle(HANDLE handle) {
    if (handle == nullptr || handle == INVALID_HANDLE_VALUE) {
        return Fail(EBADF);
    }
    std::unique_ptr<platform_File> file(static_cast<platform_File*>(handle));
    // The second call, after a failure, finds it closed and succeeds.
    const int error = file->Close();
    if (error == 0) {
        return 1;
    }
    // The owner still has the handle, and closes it once more.
    static_cast<void>(file.release());
    return Fail(error);
}

DWORD GetLastError() {
    return tLastError;
}
