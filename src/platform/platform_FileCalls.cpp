// Positions have 64 bits on every platform. This must stand before the first include.
#ifndef _FILE_OFFSET_BITS
#define _FILE_OFFSET_BITS 64
#endif

#include "platform/platform_FileCalls.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <memory>
#include <new>

namespace {

static_assert(sizeof(off_t) == 8, "positions need 64 bits");
static_assert(ERROR_FILE_NOT_FOUND == ENOENT && ERROR_INVALID_NAME == EINVAL,
              "codes are errno values");

constexpr int kClosed = -1;
constexpr off_t kGreatestPosition = std::numeric_limits<off_t>::max();

// The lock bytes, where no data can lie. A writer holds the first, an open that denies writing the
// second. Both hold them shared, so that they never stand in the way of their own kind; a conflict
// shows when each tests the other's byte.
constexpr off_t kWritesByte = kGreatestPosition - 2;
constexpr off_t kDeniesWritingByte = kGreatestPosition - 1;

// In the place of an error code: the file system has no such locks.
constexpr int kNoLocks = -1;

thread_local DWORD tLastError = 0;

// What a handle points to.
struct OpenFile {
    OpenFile() = default;
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;
    ~OpenFile();

    int descriptor = kClosed;
    // Of a file made by this handle, until its name is on the device; the second tells of one whose
    // directory couldn't be had.
    int directory = kClosed;
    bool nameInUnknownPlace = false;
    // False only when locks keep them from it.
    bool othersMayWrite = true;
    // The code of the first flush that failed.
    int flushError = 0;
    std::uint64_t position = 0;
    // The length that a failed write goes back to.
    std::uint64_t knownEnd = 0;
};

void CloseAndForget(int& descriptor) {
    if (descriptor != kClosed) {
        close(descriptor);
    }
    descriptor = kClosed;
}

OpenFile::~OpenFile() {
    CloseAndForget(directory);
    CloseAndForget(descriptor);
}

// A signal handler without SA_RESTART must not make a call of ours fail.
template <typename Call>
auto RepeatInterrupted(Call call) {
    auto result = call();
    while (result == -1 && errno == EINTR) {
        result = call();
    }
    return result;
}

BOOL Fail(int code) {
    tLastError = static_cast<DWORD>(code);
    return 0;
}

// The open file behind a handle; null, with the last error set, when there is none.
OpenFile* Use(HANDLE handle) {
    OpenFile* const file =
        handle == INVALID_HANDLE_VALUE ? nullptr : static_cast<OpenFile*>(handle);
    if (file == nullptr || file->descriptor == kClosed) {
        Fail(EBADF);
        return nullptr;
    }
    return file;
}

DWORD LowWord(std::uint64_t value) {
    return static_cast<DWORD>(value & 0xFFFFFFFF);
}

// --- Opening ---

// Programs print to 0, 1 and 2 even when these were closed before they started. A file of ours
// there would be damaged.
int MoveAboveStandardStreams(int descriptor) {
    if (descriptor == kClosed || descriptor > STDERR_FILENO) {
        return descriptor;
    }
    const int moved = fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    const int code = errno;
    close(descriptor);
    errno = code;
    return moved;
}

// O_NONBLOCK keeps the open of a FIFO from waiting for its other end. Regular files ignore it.
int OpenPath(const char* path, int flags) {
    const int all = flags | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
    return MoveAboveStandardStreams(RepeatInterrupted([&] { return open(path, all, 0666); }));
}

// Writes the directory part of `path` into `directory`, its last slash included. False when it
// doesn't fit.
bool DirectoryOf(const char* path, char (&directory)[PATH_MAX]) {
    const char* const slash = std::strrchr(path, '/');
    const char* const source = slash == nullptr ? "." : path;
    const std::size_t length = slash == nullptr ? 1 : static_cast<std::size_t>(slash - path) + 1;
    if (length >= sizeof directory) {
        return false;
    }
    std::memcpy(directory, source, length);
    directory[length] = '\0';
    return true;
}

bool DirectoryExists(const char* path) {
    char directory[PATH_MAX];
    struct stat status;
    return DirectoryOf(path, directory) && stat(directory, &status) == 0;
}

// The system gives one code for a missing file and a missing directory, and callers take the first
// for a normal case.
int OpenError(const char* path, int code) {
    switch (code) {
        case ENOENT:
            return *path != '\0' && DirectoryExists(path) ? ENOENT : ENOTDIR;
        case ENXIO:  // a socket, or a device that isn't there
        case ENODEV:
            return ESPIPE;
        case EAGAIN:  // another process holds a lease, and O_NONBLOCK doesn't wait for it
            return EBUSY;
        default:
            return code;
    }
}

int OpenExisting(OpenFile& file, const char* path, int access) {
    file.descriptor = OpenPath(path, access);
    return file.descriptor == kClosed ? OpenError(path, errno) : 0;
}

// The directory is opened now, while the path surely leads to it: the process may change its
// working directory.
void RememberDirectory(OpenFile& file, const char* path) {
    char directory[PATH_MAX];
    if (DirectoryOf(path, directory)) {
        file.directory = OpenPath(directory, O_RDONLY | O_DIRECTORY);
    }
    file.nameInUnknownPlace = file.directory == kClosed;
}

// Creation comes first and alone, since only O_EXCL tells whether it was this open that made the
// file. An existing one is opened without O_CREAT, which some systems refuse for the files of
// others in a shared directory.
int OpenOrCreate(OpenFile& file, const char* path) {
    file.descriptor = OpenPath(path, O_RDWR | O_CREAT | O_EXCL);
    if (file.descriptor != kClosed) {
        RememberDirectory(file, path);
        return 0;
    }
    if (errno != EEXIST) {
        return OpenError(path, errno);
    }
    if (const int error = OpenExisting(file, path, O_RDWR); error != ENOENT) {
        return error;
    }
    // A link to a file that is not there, or a file that went away a moment ago.
    file.nameInUnknownPlace = true;
    return OpenExisting(file, path, O_RDWR | O_CREAT);
}

int TestRegular(const OpenFile& file) {
    struct stat status;
    if (fstat(file.descriptor, &status) != 0) {
        return errno;
    }
    if (S_ISDIR(status.st_mode)) {
        return EISDIR;
    }
    return S_ISREG(status.st_mode) ? 0 : ESPIPE;
}

int Measure(const OpenFile& file, std::uint64_t& length) {
    struct stat status;
    if (fstat(file.descriptor, &status) != 0) {
        return errno;
    }
    length = static_cast<std::uint64_t>(status.st_size);
    return 0;
}

int CutTo(const OpenFile& file, std::uint64_t length) {
    const auto end = static_cast<off_t>(length);
    return RepeatInterrupted([&] { return ftruncate(file.descriptor, end); }) == 0 ? 0 : errno;
}

// --- Share modes ---

// The locks belong to the open file: they fall with it or its process, and not when another open of
// the path is closed.
int CallLock(const OpenFile& file, int command, struct flock& lock) {
    if (RepeatInterrupted([&] { return fcntl(file.descriptor, command, &lock); }) == 0) {
        return 0;
    }
    switch (errno) {
        case EAGAIN:
        case EACCES:
            return EBUSY;
        case EINVAL:
        case ENOLCK:
        case ENOSYS:
        case EOPNOTSUPP:
            return kNoLocks;
        default:
            return errno;
    }
}

struct flock LockOn(off_t position, short type) {
    struct flock lock = {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = position;
    lock.l_len = 1;
    return lock;
}

int Hold(const OpenFile& file, off_t position) {
    struct flock lock = LockOn(position, F_RDLCK);
    return CallLock(file, F_OFD_SETLK, lock);
}

// An exclusive lock would conflict with any that another open holds; one's own never counts.
int TestFree(const OpenFile& file, off_t position) {
    struct flock lock = LockOn(position, F_WRLCK);
    const int error = CallLock(file, F_OFD_GETLK, lock);
    return error == 0 && lock.l_type != F_UNLCK ? EBUSY : error;
}

// Every open takes its locks before it tests those of the others, so that of two at one time at
// least one sees the other.
int HoldThenTest(const OpenFile& file, bool writes, bool denies) {
    int error = writes ? Hold(file, kWritesByte) : 0;
    if (error == 0 && denies) {
        error = Hold(file, kDeniesWritingByte);
    }
    if (error == 0 && writes) {
        error = TestFree(file, kDeniesWritingByte);
    }
    if (error == 0 && denies) {
        error = TestFree(file, kWritesByte);
    }
    return error;
}

int ApplyShareMode(OpenFile& file, bool writes, bool denies) {
    const int error = HoldThenTest(file, writes, denies);
    file.othersMayWrite = !denies || error == kNoLocks;
    return error == kNoLocks ? 0 : error;
}

// The file is cut and measured only under its locks: before that it may be another's, at work on
// it. A writer's descriptor reads as well, or it couldn't hold a shared lock.
int Open(OpenFile& file, const char* path, DWORD access, DWORD share, DWORD disposition) {
    const bool creates = disposition == CREATE_ALWAYS;
    if (!creates && disposition != OPEN_EXISTING) {
        return EINVAL;
    }
    const bool writes = creates || (access & GENERIC_WRITE) != 0;
    int error =
        creates ? OpenOrCreate(file, path) : OpenExisting(file, path, writes ? O_RDWR : O_RDONLY);
    if (error == 0) {
        error = TestRegular(file);
    }
    if (error == 0) {
        error = ApplyShareMode(file, writes, (share & FILE_SHARE_WRITE) == 0);
    }
    if (error == 0 && creates) {
        error = CutTo(file, 0);
    }
    return error == 0 ? Measure(file, file.knownEnd) : error;
}

// --- Writing and flushing ---

// At the limit on file sizes the next call would raise a signal that by default ends the process,
// and the half that is written already would stay.
bool IsAtSizeLimit(std::uint64_t position) {
    struct rlimit limit;
    return getrlimit(RLIMIT_FSIZE, &limit) == 0 && position >= limit.rlim_cur;
}

int WriteRange(const OpenFile& file, const void* data, DWORD done, DWORD count) {
    while (done < count) {
        const char* const source = static_cast<const char*>(data) + done;
        const auto position = static_cast<off_t>(file.position + done);
        const ssize_t written = RepeatInterrupted(
            [&] { return pwrite(file.descriptor, source, count - done, position); });
        if (written <= 0) {
            return written == 0 ? EIO : errno;
        }
        done += static_cast<DWORD>(written);
        if (done < count && IsAtSizeLimit(file.position + done)) {
            return EFBIG;
        }
    }
    return 0;
}

// What lies behind the known end goes first: only that can lack room, and a failure there has not
// touched the bytes before it. A new header over half of an old one would end the file for its
// readers.
int WriteAll(const OpenFile& file, const void* data, DWORD count) {
    const std::uint64_t before = file.knownEnd - std::min(file.knownEnd, file.position);
    const DWORD inside = static_cast<DWORD>(std::min<std::uint64_t>(before, count));
    const int error = WriteRange(file, data, inside, count);
    return error == 0 ? WriteRange(file, data, 0, inside) : error;
}

// Cuts off what a failed write of `count` bytes has put behind the known end: half of a pool header
// there would end the file for its readers. A file that reaches farther than this write could was
// made longer by another, and is left alone.
void TakeBack(const OpenFile& file, DWORD count) {
    std::uint64_t length = 0;
    if (Measure(file, length) == 0 && length > file.knownEnd && length <= file.position + count) {
        CutTo(file, file.knownEnd);
    }
}

int SyncDirectory(OpenFile& file) {
    // EINVAL: directories of this file system are not synced by hand.
    if (RepeatInterrupted([&] { return fsync(file.directory); }) != 0 && errno != EINVAL) {
        return errno;
    }
    CloseAndForget(file.directory);
    return 0;
}

int SyncName(OpenFile& file) {
    if (file.directory != kClosed) {
        return SyncDirectory(file);
    }
    if (file.nameInUnknownPlace &&
        RepeatInterrupted([&] { return syncfs(file.descriptor); }) != 0) {
        return errno;
    }
    file.nameInUnknownPlace = false;
    return 0;
}

int Sync(OpenFile& file) {
    if (RepeatInterrupted([&] { return fdatasync(file.descriptor); }) != 0) {
        return errno;
    }
    return SyncName(file);
}

}  // namespace

HANDLE CreateFileA(const char* path, DWORD access, DWORD share, void*, DWORD disposition, DWORD,
                   void*) {
    // The record comes first, so that a lack of memory leaves no new file behind.
    std::unique_ptr<OpenFile> file(new (std::nothrow) OpenFile);
    const int error = file == nullptr ? ENOMEM : Open(*file, path, access, share, disposition);
    if (error != 0) {
        Fail(error);
        return INVALID_HANDLE_VALUE;
    }
    return file.release();
}

DWORD SetFilePointer(HANDLE handle, LONG low, LONG* high, DWORD method) {
    OpenFile* const file = Use(handle);
    if (file == nullptr) {
        return INVALID_SET_FILE_POINTER;
    }
    const std::uint64_t highWord = high == nullptr ? 0 : static_cast<DWORD>(*high);
    const std::uint64_t position = highWord << 32 | static_cast<DWORD>(low);
    if (method != FILE_BEGIN || position > static_cast<std::uint64_t>(kGreatestPosition)) {
        Fail(EINVAL);
        return INVALID_SET_FILE_POINTER;
    }
    file->position = position;
    tLastError = 0;
    return LowWord(position);
}

BOOL ReadFile(HANDLE handle, void* buffer, DWORD count, DWORD* got, void*) {
    *got = 0;
    OpenFile* const file = Use(handle);
    if (file == nullptr) {
        return 0;
    }
    // The system refuses a range that ends past the greatest position; here it is simply past the
    // end of the file.
    const auto position = static_cast<off_t>(file->position);
    const auto wanted =
        static_cast<std::size_t>(std::min<off_t>(count, kGreatestPosition - position));
    const ssize_t result =
        RepeatInterrupted([&] { return pread(file->descriptor, buffer, wanted, position); });
    if (result < 0) {
        return Fail(errno);
    }
    *got = static_cast<DWORD>(result);
    file->position += *got;
    return 1;
}

BOOL WriteFile(HANDLE handle, const void* data, DWORD count, DWORD* written, void*) {
    *written = 0;
    OpenFile* const file = Use(handle);
    if (file == nullptr) {
        return 0;
    }
    if (const int error = file->othersMayWrite ? Measure(*file, file->knownEnd) : 0; error != 0) {
        return Fail(error);
    }
    if (const int error = WriteAll(*file, data, count); error != 0) {
        TakeBack(*file, count);
        return Fail(error);
    }
    *written = count;
    file->position += count;
    file->knownEnd = std::max(file->knownEnd, file->position);
    return 1;
}

BOOL FlushFileBuffers(HANDLE handle) {
    OpenFile* const file = Use(handle);
    if (file == nullptr) {
        return 0;
    }
    // After a failure the system drops the pages it couldn't write and forgets them, so a later
    // success would be a lie.
    if (file->flushError == 0) {
        file->flushError = Sync(*file);
    }
    return file->flushError == 0 ? 1 : Fail(file->flushError);
}

DWORD GetFileSize(HANDLE handle, DWORD* high) {
    OpenFile* const file = Use(handle);
    if (file == nullptr) {
        return INVALID_FILE_SIZE;
    }
    std::uint64_t length = 0;
    if (const int error = Measure(*file, length); error != 0) {
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
    std::unique_ptr<OpenFile> file(static_cast<OpenFile*>(handle));
    if (file->descriptor == kClosed) {
        return 1;  // the second call, after a failure
    }
    // Whatever close reports, the descriptor is gone and may be another's by now: it is never
    // closed twice.
    const bool failed = close(file->descriptor) != 0 && errno != EINTR;
    const int code = errno;
    file->descriptor = kClosed;
    CloseAndForget(file->directory);
    if (failed) {
        // The owner still has the handle, and closes it once more.
        static_cast<void>(file.release());
        return Fail(code);
    }
    return 1;
}

DWORD GetLastError() {
    return tLastError;
}
