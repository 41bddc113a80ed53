#ifndef OXBOW_PLATFORM_FILECALLS_H
#define OXBOW_PLATFORM_FILECALLS_H

// The operating system's file calls, as far as OxbowRpm_OSFile needs them: names, argument lists
// and constants are those of the Win32 interface, so that a build for Windows includes <windows.h>
// here and has no source for them at all. platform_FileCalls.cpp gives them on Linux. Nothing else
// in the library talks to files.
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

// What an open lets the others do meanwhile, in this process or another. Reading is never refused;
// writing is, both ways: to those who come after an open without FILE_SHARE_WRITE, and to that open
// when a writer is there before it.
inline constexpr DWORD FILE_SHARE_READ = 1;
inline constexpr DWORD FILE_SHARE_WRITE = 2;

// Whether the file must be there, or is made, or cut to length 0.
inline constexpr DWORD CREATE_ALWAYS = 2;
inline constexpr DWORD OPEN_EXISTING = 3;

// Accepted, without effect.
inline constexpr DWORD FILE_ATTRIBUTE_NORMAL = 0x80;
inline constexpr DWORD FILE_FLAG_RANDOM_ACCESS = 0x10000000;

// The one way of positioning: from the start of the file.
inline constexpr DWORD FILE_BEGIN = 0;

// Results that stand for a failure. The two numbers can also be the low word of a success; then
// GetLastError gives 0. The handle is a macro, since no constant expression can make a pointer from
// a number.
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

// Opens the file with position 0, or gives INVALID_HANDLE_VALUE. `security` and `templateFile` are
// null. A refused open has not touched the file's content. CREATE_ALWAYS counts as writing.
HANDLE CreateFileA(const char* path, DWORD access, DWORD share, void* security, DWORD disposition,
                   DWORD flags, void* templateFile);

// Sets the position, in bytes, which may lie past the end of the file. Gives its low word and,
// through `high`, its high word. Makes no system call. A null `high` stands for a high word of 0.
DWORD SetFilePointer(HANDLE handle, LONG low, LONG* high, DWORD method);

// Reads at the position and moves it by `*got`, which is 0 at the end of the file and may be less
// than `count` anywhere.
BOOL ReadFile(HANDLE handle, void* buffer, DWORD count, DWORD* got, void* overlapped);

// Writes at the position and moves it. A call is all or nothing for length and position: a failure
// leaves both as they were, but bytes that the file held already may have been overwritten.
BOOL WriteFile(HANDLE handle, const void* data, DWORD count, DWORD* written, void* overlapped);

// Returns when all that was written has reached the device, the name of a file made by this handle
// included. Once failed, it fails for good on this handle.
BOOL FlushFileBuffers(HANDLE handle);

// Gives the low word of the file's length in bytes and, through `high` unless that is null, the
// high word.
DWORD GetFileSize(HANDLE handle, DWORD* high);

// Frees the handle. After a failure the file is given up, but the handle is still to be closed a
// second time, and that call succeeds.
BOOL CloseHandle(HANDLE handle);

// The code of the thread's last failure, 0 when there was none. SetFilePointer and GetFileSize
// reset it when they succeed.
DWORD GetLastError();

#endif
