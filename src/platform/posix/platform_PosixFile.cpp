// The system calls behind an open file. The operations follow in the order of the header.
#include "platform/posix/platform_PosixFile.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "platform/posix/platform_ShareLocks.h"

namespace {

static_assert(sizeof(off_t) == 8, "positions need 64 bits");

// Makes the call, again while a signal handler without SA_RESTART interrupts it. Returns 0 or an
// errno value.
template <typename Call>
int ErrorOf(Call call) {
    while (call() == -1) {
        if (errno != EINTR) {
            return errno;
        }
    }
    return 0;
}

// Writes the folder of `path` into `folder`, its last slash included. A path that is too long for
// that, which no system opens either, has an empty one.
void FolderOf(const char* path, char (&folder)[PATH_MAX]) {
    const char* const slash = std::strrchr(path, '/');
    const char* const source = slash == nullptr ? "." : path;
    std::size_t length = slash == nullptr ? 1 : static_cast<std::size_t>(slash - path) + 1;
    length = length < sizeof folder ? length : 0;
    std::memcpy(folder, source, length);
    folder[length] = '\0';
}

bool FolderExists(const char* path) {
    char folder[PATH_MAX];
    struct stat status;
    FolderOf(path, folder);
    return stat(folder, &status) == 0;
}

// The system has one code for a missing file and a missing folder, and callers take the first for
// a normal case.
int OpenError(const char* path, int code) {
    if (code == ENOENT) {
        return *path != '\0' && FolderExists(path) ? ENOENT : ENOTDIR;
    }
    if (code == ENXIO || code == ENODEV) {  // a socket, or a device that isn't there
        return ESPIPE;
    }
    // EAGAIN: another process holds a lease, and O_NONBLOCK doesn't wait for it.
    return code == EAGAIN ? EBUSY : code;
}

// Opens the path on a descriptor of 3 or more: programs print to 0, 1 and 2 even when these were
// closed before they started, and would damage a file of ours there. O_NONBLOCK keeps the open of
// a FIFO from waiting for its other end; regular files ignore it.
int OpenPath(const char* path, int flags, int& descriptor) {
    const int all = flags | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
    int error = ErrorOf([&] { return descriptor = open(path, all, 0666); });
    if (error != 0) {
        return OpenError(path, error);
    }
    if (const int low = descriptor; low <= STDERR_FILENO) {
        error =
            ErrorOf([&] { return descriptor = fcntl(low, F_DUPFD_CLOEXEC, STDERR_FILENO + 1); });
        close(low);
    }
    return error;
}

// Opens the folder of a file just made, while the path surely leads to it: the process may change
// its working directory. Returns -1 if it can't be opened.
int OpenFolderOf(const char* path) {
    char folder[PATH_MAX];
    FolderOf(path, folder);
    int descriptor = -1;
    OpenPath(folder, O_RDONLY, descriptor);
    return descriptor;
}

// At the limit of file sizes the next write would raise a signal that by default ends the process.
bool IsAtSizeLimit(std::uint64_t position) {
    struct rlimit limit;
    return getrlimit(RLIMIT_FSIZE, &limit) == 0 && position >= limit.rlim_cur;
}

// Writes the bytes of `data` from `done` to `count`, which lie at `position` in all.
int WriteRange(int descriptor, std::uint64_t position, const void* data, std::uint32_t done,
               std::uint32_t count) {
    while (done < count) {
        const char* const source = static_cast<const char*>(data) + done;
        const auto place = static_cast<off_t>(position + done);
        ssize_t written = 0;
        const int error =
            ErrorOf([&] { return written = pwrite(descriptor, source, count - done, place); });
        if (written <= 0) {
            return error == 0 ? EIO : error;
        }
        done += static_cast<std::uint32_t>(written);
        if (done < count && IsAtSizeLimit(position + done)) {
            return EFBIG;
        }
    }
    return 0;
}

}  // namespace

// The file is measured and cut only under its locks: before that it may be another's, at work on
// it. A writer's descriptor reads as well, or it couldn't hold a shared lock.
int platform_PosixFile::Open(const char* path, Mode mode, bool deniesWriting) {
    const bool writes = mode != Mode::Read;
    int error = mode == Mode::Create ? OpenOrCreate(path)
                                     : OpenPath(path, writes ? O_RDWR : O_RDONLY, mDescriptor);
    if (error != 0) {
        return error;
    }
    error = platform_TakeShareLocks(mDescriptor, writes, deniesWriting);
    mOthersMayWrite = !deniesWriting || error == platform_kNoLocks;
    if (error == 0 || error == platform_kNoLocks) {
        error = Measure(mKnownEnd);
    }
    if (error == 0 && mode == Mode::Create) {
        mKnownEnd = 0;
        error = CutTo(0);
    }
    mSizeIsKnown = !writes;
    return error;
}

// Creation comes first and alone, since only O_EXCL shows whether it was this open that made the
// file. An existing one is opened without O_CREAT, which some systems refuse for the files of
// others in a shared folder.
int platform_PosixFile::OpenOrCreate(const char* path) {
    int error = OpenPath(path, O_RDWR | O_CREAT | O_EXCL, mDescriptor);
    if (error == 0) {
        mFolder = OpenFolderOf(path);
        mNameIsUnsynced = true;
        return 0;
    }
    if (error == EEXIST) {
        error = OpenPath(path, O_RDWR, mDescriptor);
    }
    if (error == ENOENT) {
        // A link to a file that is not there, or a file that went away a moment ago.
        mNameIsUnsynced = true;
        error = OpenPath(path, O_RDWR | O_CREAT, mDescriptor);
    }
    return error;
}

int platform_PosixFile::Read(std::uint64_t position, void* buffer, std::uint32_t count,
                             std::uint32_t& got) {
    // The system refuses a range that ends past the greatest position; here it is simply past the
    // end of the file.
    const auto wanted =
        static_cast<std::size_t>(std::min<std::uint64_t>(count, INT64_MAX - position));
    const auto place = static_cast<off_t>(position);
    ssize_t result = 0;
    const int error = ErrorOf([&] { return result = pread(mDescriptor, buffer, wanted, place); });
    got = error == 0 ? static_cast<std::uint32_t>(result) : 0;
    return error;
}

int platform_PosixFile::Write(std::uint64_t position, const void* data, std::uint32_t count) {
    std::uint64_t end = mKnownEnd;
    int error = mOthersMayWrite ? Measure(end) : 0;
    if (error != 0) {
        return error;
    }
    const std::uint64_t before = end - std::min(end, position);
    const auto inside = static_cast<std::uint32_t>(std::min<std::uint64_t>(before, count));
    if (inside < count && IsAtSizeLimit(position + inside)) {
        return EFBIG;
    }
    error = WriteRange(mDescriptor, position, data, inside, count);
    if (error == 0) {
        error = WriteRange(mDescriptor, position, data, 0, inside);
    }
    if (error != 0) {
        TakeBack(end, position + count);
    } else if (inside < count) {
        mKnownEnd = position + count;
    }
    return error;
}

// Cuts off what a failed write has put behind the known end. A file that reaches farther than this
// write could was made longer by another, and is left alone.
void platform_PosixFile::TakeBack(std::uint64_t knownEnd, std::uint64_t writeEnd) const {
    std::uint64_t length = 0;
    if (Measure(length) == 0 && length > knownEnd && length <= writeEnd) {
        CutTo(knownEnd);
    }
}

// After a failure the system drops the pages that it couldn't write and forgets them, so a later
// success would be a lie.
int platform_PosixFile::Flush() {
    if (mFlushError == 0) {
        mFlushError = Sync();
    }
    return mFlushError;
}

int platform_PosixFile::Sync() {
    int error = ErrorOf([&] { return fdatasync(mDescriptor); });
    if (error != 0 || !mNameIsUnsynced) {
        return error;
    }
    // Where the folder isn't known, the whole file system is synced.
    error = ErrorOf([&] { return mFolder == kNone ? syncfs(mDescriptor) : fsync(mFolder); });
    // EINVAL: folders of this file system are not synced by hand.
    if (error != 0 && error != EINVAL) {
        return error;
    }
    mNameIsUnsynced = false;
    CloseFolder();
    return 0;
}

// What a reader's opening has measured answers the first question, which comes right behind.
int platform_PosixFile::Size(std::uint64_t& length) {
    if (mSizeIsKnown.exchange(false)) {
        length = mKnownEnd;
        return 0;
    }
    return Measure(length);
}

// Whatever close reports, the descriptor is gone and may be another's by now: it is never closed
// twice.
int platform_PosixFile::Close() {
    CloseFolder();
    const bool failed = IsOpen() && close(mDescriptor) != 0 && errno != EINTR;
    mDescriptor = kNone;
    return failed ? errno : 0;
}

void platform_PosixFile::CloseFolder() {
    if (mFolder != kNone) {
        close(mFolder);
    }
    mFolder = kNone;
}

// Fails for anything but a regular file.
int platform_PosixFile::Measure(std::uint64_t& length) const {
    struct stat status;
    if (fstat(mDescriptor, &status) != 0) {
        return errno;
    }
    if (!S_ISREG(status.st_mode)) {
        return S_ISDIR(status.st_mode) ? EISDIR : ESPIPE;
    }
    length = static_cast<std::uint64_t>(status.st_size);
    return 0;
}

int platform_PosixFile::CutTo(std::uint64_t length) const {
    return ErrorOf([&] { return ftruncate(mDescriptor, static_cast<off_t>(length)); });
}
