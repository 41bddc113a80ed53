#ifndef OXBOW_PLATFORM_FILECALLS_H
#define OXBOW_PLATFORM_FILECALLS_H

// The operating system's file calls, as far as OxbowRpm_OSFile needs them, with the names, argument
// lists and constants of the Win32 interface. platform/posix/ implements them. Nothing else in the
// library talks to files.
//
// Threads: calls on different handles are independent. On one handle, a SetFilePointer and the
// transfer that follows it need a lock around them; GetFileSize and one FlushFileBuffers at a time
// may run beside. The last error belongs to the thread.
//
// Durability: only FlushFileBuffers puts data on the device. Closing doesn't.

#include <cstdint>

using HANDLE = void*;
using BOOL = int;  // 0 is failure, everything else success
using DWORD = std::uint32_t;
using LONG = std::int32_t;

// The access that an open asks for.
inline constexpr DWORD GENERIC_READ = 0x80000000;
inline constexpr DWORD GENERIC_WRITE = 0x40000000;

// What an open lets the others do meanwhile, in this process or another. Reading is never refused.
// An open without FILE_SHARE_WRITE is refused while a writer has the file, and refuses the writers
// that come after it.
inline constexpr DWORD FILE_SHARE_READ = 1;
inline constexpr DWORD FILE_SHARE_WRITE = 2;

// Whether the file is made, or cut to length 0, or must be there.
inline constexpr DWORD CREATE_ALWAYS = 2;
inline constexpr DWORD OPEN_EXISTING = 3;

// Accepted, without effect.
inline constexpr DWORD FILE_ATTRIBUTE_NORMAL = 0x80;
inline constexpr DWORD FILE_FLAG_RANDOM_ACCESS = 0x10000000;

// The one way of positioning: from the start of the file.
inline constexpr DWORD FILE_BEGIN = 0;

// Results that mean a failure. The two numbers can also be the low word of a success; GetLastError
// then returns 0. The handle is a macro, since no constant expression makes a pointer of a number.
#define INVALID_HANDLE_VALUE (reinterpret_cast<HANDLE>(~std::uintptr_t{0}))
inline constexpr DWORD INVALID_SET_FILE_POINTER = 0xFFFFFFFF;
inline constexpr DWORD INVALID_FILE_SIZE = 0xFFFFFFFF;

// Error codes are the system's errno values, fit for strerror. Some have a meaning of their own:
//   ENOENT   the file is missing
//   ENOTDIR  a directory of its path is missing, or the path is empty
//   EISDIR   it is a directory
//   ESPIPE   it is a FIFO, a device or a socket
//   EBUSY    its share modes don't allow this open
//   EBADF    the handle is null, closed, or not open for this
//   EINVAL   the position is past 2^63 - 1
inline constexpr DWORD ERROR_FILE_NOT_FOUND = 2;  // ENOENT
inline constexpr DWORD ERROR_INVALID_NAME = 22;   // EINVAL

// Opens the file with position 0, or returns INVALID_HANDLE_VALUE. `security` and `templateFile`
// are null. A refused open leaves the file's content alone. CREATE_ALWAYS counts as writing.
HANDLE CreateFileA(const char* path, DWORD access, DWORD share, void* security, DWORD disposition,
                   DWORD flags, void* templateFile);

// Sets the position, in bytes, which may lie past the end of the file, and returns its low word.
// A null `high` counts as a high word of 0. Makes no system call.
DWORD SetFilePointer(HANDLE handle, LONG low, LONG* high, DWORD method);

// Reads at the position and moves it by `*got`, which is 0 at the end of the file and may be less
// than `count` anywhere.
BOOL ReadFile(HANDLE handle, void* buffer, DWORD count, DWORD* got, void* overlapped);

// Writes at the position and moves it. A failure leaves length and position as they were, but bytes
// inside the file may have been overwritten. A file that can't grow for the limit of file sizes
// (RLIMIT_FSIZE) fails with EFBIG, without the signal that by default ends the process. Only a
// write inside a file that is longer than the limit, and behind the limit, still raises it.
BOOL WriteFile(HANDLE handle, const void* data, DWORD count, DWORD* written, void* overlapped);

// Returns when all that was written has reached the device, the name of a file made by this handle
// included. Once it has failed, it fails forever on this handle.
BOOL FlushFileBuffers(HANDLE handle);

// Returns the low word of the file's length in bytes; `high`, unless null, receives the high word.
// The first call on a handle that was opened for reading alone may return the length at opening.
DWORD GetFileSize(HANDLE handle, DWORD* high);

// Frees the handle. A failed call ends the file but not the handle, which is freed by a second
// call, which succeeds.
BOOL CloseHandle(HANDLE handle);

// The code of the thread's last call: 0 if it has succeeded.
DWORD GetLastError();

#endif
