#include "platform/platform_FileCalls.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <new>

#include "platform/platform_Flushing.h"
#include "platform/platform_OpenFile.h"
#include "platform/platform_Opening.h"
#include "platform/platform_Writing.h"

namespace {

static_assert(ERROR_FILE_NOT_FOUND == ENOENT && ERROR_INVALID_NAME == EINVAL,
              "codes are errno values");

thread_local DWORD tLastError = 0;

BOOL Fail(int code) {
    tLastError = static_cast<DWORD>(code);
    return 0;
}

// The open file behind a handle; null, with the last error set, when there is none.
platform_OpenFile* Use(HANDLE handle) {
    platform_OpenFile* const file =
        handle == INVALID_HANDLE_VALUE ? nullptr : static_cast<platform_OpenFile*>(handle);
    if (file == nullptr || file->IsClosed()) {
        Fail(EBADF);
        return nullptr;
    }
    return file;
}

DWORD LowWord(std::uint64_t value) {
    return static_cast<DWORD>(value & 0xFFFFFFFF);
}

}  // namespace

HANDLE CreateFileA(const char* path, DWORD access, DWORD share, void*, DWORD disposition, DWORD,
                   void*) {
    // The record comes first, so that a lack of memory leaves no new file behind.
    std::unique_ptr<platform_OpenFile> file(new (std::nothrow) platform_OpenFile);
    const int error =
        file == nullptr ? ENOMEM : platform_OpenAt(*file, path, access, share, disposition);
    if (error != 0) {
        Fail(error);
        return INVALID_HANDLE_VALUE;
    }
    return file.release();
}

DWORD SetFilePointer(HANDLE handle, LONG low, LONG* high, DWORD method) {
    platform_OpenFile* const file = Use(handle);
    if (file == nullptr) {
        return INVALID_SET_FILE_POINTER;
    }
    const std::uint64_t highWord = high == nullptr ? 0 : static_cast<DWORD>(*high);
    const std::uint64_t position = highWord << 32 | static_cast<DWORD>(low);
    if (method != FILE_BEGIN || position > static_cast<std::uint64_t>(platform_kGreatestPosition)) {
        Fail(EINVAL);
        return INVALID_SET_FILE_POINTER;
    }
    file->mPosition = position;
    tLastError = 0;
    return LowWord(position);
}

BOOL ReadFile(HANDLE handle, void* buffer, DWORD count, DWORD* got, void*) {
    *got = 0;
    platform_OpenFile* const file = Use(handle);
    if (file == nullptr) {
        return 0;
    }
    // The system refuses a range that ends past the greatest position; here it is simply past the
    // end of the file.
    const auto position = static_cast<off_t>(file->mPosition);
    const auto wanted =
        static_cast<std::size_t>(std::min<off_t>(count, platform_kGreatestPosition - position));
    const ssize_t result = platform_RepeatInterrupted(
        [&] { return pread(file->mDescriptor, buffer, wanted, position); });
    if (result < 0) {
        return Fail(errno);
    }
    *got = static_cast<DWORD>(result);
    file->mPosition += *got;
    return 1;
}

BOOL WriteFile(HANDLE handle, const void* data, DWORD count, DWORD* written, void*) {
    *written = 0;
    platform_OpenFile* const file = Use(handle);
    if (file == nullptr) {
        return 0;
    }
    if (const int error = platform_Write(*file, data, count); error != 0) {
        return Fail(error);
    }
    *written = count;
    file->mPosition += count;
    return 1;
}

BOOL FlushFileBuffers(HANDLE handle) {
    platform_OpenFile* const file = Use(handle);
    if (file == nullptr) {
        return 0;
    }
    const int error = platform_Flush(*file);
    return error == 0 ? 1 : Fail(error);
}

DWORD GetFileSize(HANDLE handle, DWORD* high) {
    platform_OpenFile* const file = Use(handle);
    if (file == nullptr) {
        return INVALID_FILE_SIZE;
    }
    std::uint64_t length = 0;
    if (const int error = file->Measure(length); error != 0) {
        Fail(error);
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
    std::unique_ptr<platform_OpenFile> file(static_cast<platform_OpenFile*>(handle));
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
